// Changes of level on lines, as receivers with pulse outputs make them.
#pragma once

#include <cstdint>

namespace rcin {

struct Edge {
    std::int64_t time_ns = 0; // of the kernel's monotonic clock, or of a recording's own
    std::uint8_t line = 0;    // its place in the list of lines
    bool high = false;        // the level from then on
};

// What receivers send as a stick's position, in microseconds; anything else is a disturbance.
inline constexpr std::int64_t narrowest_pulse_us = 700;
inline constexpr std::int64_t widest_pulse_us = 2300;

constexpr bool is_channel_width(std::int64_t width_us) {
    return width_us >= narrowest_pulse_us && width_us <= widest_pulse_us;
}

// In microseconds, rounded.
constexpr std::int64_t width_between(std::int64_t from_ns, std::int64_t until_ns) {
    return (until_ns - from_ns + 500) / 1000;
}

// The middle one of three in a row: a single wrong one, however wrong, never shows.
constexpr std::uint16_t median(std::uint16_t a, std::uint16_t b, std::uint16_t c) {
    const std::uint16_t low = a < b ? a : b;
    const std::uint16_t high = a < b ? b : a;
    return c < low ? low : (c > high ? high : c);
}

} // namespace rcin
