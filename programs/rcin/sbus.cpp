#include "rcin/sbus.h"

#include "rcin/channel_bits.h"

#include <array>

namespace rcin {
namespace {

using fieldrelaybox::Bytes;

// Header, channels, flags, end.
constexpr std::size_t sbus_size = 25;
constexpr std::size_t sbus_flags = 23;
constexpr std::size_t sbus_end = 24;
static_assert(sbus_flags == 1 + packed_channels_size);

constexpr std::uint8_t sbus_header = 0x0F;
constexpr std::array<std::uint8_t, 2> digital_flags{0x01, 0x02};
constexpr std::uint8_t frame_lost_flag = 0x04;
constexpr std::uint8_t failsafe_flag = 0x08;
constexpr std::uint8_t no_flags = 0xF0; // always 0

// 0x04, 0x14, 0x24, ...: receivers that also hear sensors count their turns here.
constexpr bool ends_frame(std::uint8_t byte) {
    return byte == 0x00 || (byte & 0x0F) == 0x04;
}

std::size_t sbus_length(Bytes begin) {
    return begin[0] == sbus_header ? sbus_size : 0;
}

bool is_sbus_frame(Bytes frame) {
    return frame.size() == sbus_size && frame[0] == sbus_header && ends_frame(frame[sbus_end]) &&
           (frame[sbus_flags] & no_flags) == 0;
}

std::optional<Frame> decode_sbus(Bytes bytes) {
    if (!is_sbus_frame(bytes))
        return std::nullopt;
    const std::uint8_t flags = bytes[sbus_flags];
    Frame frame{.failsafe = (flags & failsafe_flag) != 0};
    if ((flags & frame_lost_flag) != 0 && !frame.failsafe)
        return std::nullopt; // the last values again
    frame.channels_us = unpack_channels(bytes.subspan(1));
    for (std::size_t i = 0; i < digital_flags.size(); ++i)
        frame.digital_us.at(i) = (flags & digital_flags.at(i)) != 0 ? 2000 : 1000;
    return frame;
}

} // namespace

const SerialProtocol sbus_protocol{sbus_length, is_sbus_frame, decode_sbus, false};

} // namespace rcin
