#include "rcin/sbus.h"

#include "rcin/channel_bits.h"

#include <array>
#include <cstdlib>

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

// From frame to frame moving sticks and switches leave so many where they were. Channels at the
// lowest end do not count: garbage has many zeros.
constexpr std::size_t fewest_alike = 8;
constexpr std::uint16_t lowest_us = microseconds_of_raw(0);
constexpr int trembling_us = 5;

bool sbus_frames_are_alike(Bytes frame, Bytes next) {
    const auto before_us = unpack_channels(frame.subspan(1));
    const auto after_us = unpack_channels(next.subspan(1));
    std::size_t alike = 0;
    for (std::size_t i = 0; i < before_us.size(); ++i) {
        const int change_us = std::abs(after_us.at(i) - before_us.at(i));
        alike += before_us.at(i) > lowest_us && change_us <= trembling_us ? 1 : 0;
    }
    return alike >= fewest_alike;
}

} // namespace

const SerialProtocol sbus_protocol{sbus_length, is_sbus_frame, decode_sbus, sbus_frames_are_alike};

} // namespace rcin
