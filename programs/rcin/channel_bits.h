// Sixteen channels of 11 bits each, the lowest bit first, as SBUS and CRSF send them.
#pragma once

#include "core/bytes.h"
#include "rcin/frame.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace rcin {

inline constexpr std::size_t channel_bits = 11;
inline constexpr std::size_t packed_channels_size = receiver_channels * channel_bits / 8;

// Microseconds, the fraction dropped: 172 is 987, 992 is 1500, 1811 is 2011.
constexpr std::uint16_t microseconds_of_raw(unsigned raw) {
    return static_cast<std::uint16_t>(880 + 5 * raw / 8);
}

// packed has packed_channels_size bytes.
constexpr std::array<std::uint16_t, receiver_channels>
unpack_channels(fieldrelaybox::Bytes packed) {
    std::array<std::uint16_t, receiver_channels> channels_us{};
    unsigned bits = 0;
    std::size_t count = 0; // of the bits at hand
    std::size_t channel = 0;
    for (const std::uint8_t byte : packed.first(packed_channels_size)) {
        bits |= static_cast<unsigned>(byte) << count;
        count += 8;
        if (count < channel_bits)
            continue;
        channels_us.at(channel++) = microseconds_of_raw(bits & ((1U << channel_bits) - 1));
        bits >>= channel_bits;
        count -= channel_bits;
    }
    return channels_us;
}

} // namespace rcin
