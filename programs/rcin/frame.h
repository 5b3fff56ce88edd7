// What a receiver says at a time, whatever it speaks.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace rcin {

inline constexpr std::size_t receiver_channels = 16;
inline constexpr std::size_t channel_count = 32; // RC1's, then RC2's

inline constexpr std::uint16_t absent = 0; // a channel that is not there

// Pulse widths in microseconds by channel, RC1's first.
using Channels = std::array<std::uint16_t, channel_count>;

struct Frame {
    std::array<std::uint16_t, receiver_channels> channels_us{};
    std::array<std::uint16_t, 2> digital_us{}; // 1000 or 2000 where there are such, else absent
    bool failsafe = false;                     // the receiver has lost the transmitter
};

} // namespace rcin
