#include "rcin/serial_input.h"

#include "rcin/crsf.h"
#include "rcin/frame_collector.h"
#include "rcin/ibus.h"
#include "rcin/parity_marks.h"
#include "rcin/sbus.h"
#include "rcin/serial_port.h"

#include <array>
#include <cerrno>
#include <memory>
#include <unistd.h>
#include <utility>
#include <variant>

namespace rcin {
namespace {

constexpr LineFormat sbus_line{.baud = 100'000, .even_parity = true, .two_stop_bits = true};
constexpr LineFormat crsf_line{.baud = 420'000};
constexpr LineFormat ibus_line{.baud = 115'200};

struct SerialReceiver {
    SerialReceiver(int opened, const SerialProtocol& protocol)
        : descriptor(opened), collector{.protocol = protocol, .bytes = {}} {}
    SerialReceiver(const SerialReceiver&) = delete;
    SerialReceiver& operator=(const SerialReceiver&) = delete;
    SerialReceiver(SerialReceiver&&) = delete;
    SerialReceiver& operator=(SerialReceiver&&) = delete;
    ~SerialReceiver() { close(descriptor); }

    int descriptor;
    FrameCollector collector;
    MarkPlace mark = MarkPlace::outside;
};

void take_read_bytes(SerialReceiver& receiver, fieldrelaybox::Bytes read_bytes, std::int64_t now_us,
                     const TakeFrame& take) {
    for (const std::uint8_t read_byte : read_bytes) {
        const auto byte = unmark(receiver.mark, read_byte);
        if (const auto* good = std::get_if<std::uint8_t>(&byte))
            take_byte(receiver.collector, *good, now_us, take);
        else if (std::holds_alternative<DamagedByte>(byte))
            spoil(receiver.collector);
    }
}

// One read takes all: it has room for more than the driver keeps.
Reading read_serial_line(SerialReceiver& receiver, std::int64_t now_us, const TakeFrame& take) {
    std::array<std::uint8_t, 8192> bytes; // NOLINT(cppcoreguidelines-pro-type-member-init)
    const ssize_t count = read(receiver.descriptor, bytes.data(), bytes.size());
    if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR))
        return {.gone = true};
    if (count > 0)
        take_read_bytes(receiver, {bytes.data(), static_cast<std::size_t>(count)}, now_us, take);
    else
        take_nothing(receiver.collector, now_us, take);
    return {.wake_us = silence_due(receiver.collector)};
}

Opened open_serial_line(const std::string& device, const LineFormat& format,
                        const SerialProtocol& protocol) {
    OpenedPort port = open_serial_port(device, format);
    if (port.descriptor < 0)
        return {.input = {}, .fault = port.fault, .hint = {}};
    const auto receiver = std::make_shared<SerialReceiver>(port.descriptor, protocol);
    Input input{.descriptors = {port.descriptor},
                .read = [receiver](std::int64_t now_us, const TakeFrame& take) {
                    return read_serial_line(*receiver, now_us, take);
                }};
    return {.input = std::move(input), .fault = {}, .hint = port.hint};
}

} // namespace

Opened open_sbus(const std::string& device) {
    return open_serial_line(device, sbus_line, sbus_protocol);
}

Opened open_crsf(const std::string& device) {
    return open_serial_line(device, crsf_line, crsf_protocol);
}

Opened open_ibus(const std::string& device) {
    return open_serial_line(device, ibus_line, ibus_protocol);
}

} // namespace rcin
