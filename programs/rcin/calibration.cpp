#include "rcin/calibration.h"

#include <algorithm>
#include <cstddef>

namespace rcin {

namespace {

constexpr int least_travel_us = 300; // what moves less is noise, or a trim
constexpr int rest_band_us = 5;
constexpr std::int64_t rest_time_us = 2'000'000;
constexpr std::size_t least_channels = 2;

constexpr int mapped_low = 1000;
constexpr int mapped_centre = 1500;
constexpr int mapped_high = 2000;
constexpr int mapped_half = mapped_high - mapped_centre;

std::uint16_t map_to_travel(const Travel& travel, int value) {
    const bool upper = value > travel.centre;
    const int half = upper ? travel.high - travel.centre : travel.centre - travel.low;
    const int beyond = std::clamp(value, int{travel.low}, int{travel.high}) - travel.centre;
    const int to_nearest = upper ? half / 2 : -half / 2;
    const int mapped = mapped_centre + ((beyond * mapped_half) + to_nearest) / half;
    return static_cast<std::uint16_t>(std::clamp(mapped, mapped_low, mapped_high));
}

// What no line of the file could hold says nothing about a channel.
bool is_pulse(std::uint16_t value) {
    return value >= shortest_pulse_us && value <= longest_pulse_us;
}

// Returns whether the channel is where it was, or as absent as it was.
bool follow_channel(Learning& learning, std::size_t channel, std::uint16_t value) {
    std::uint16_t& rest = learning.rest[channel];
    const bool present = is_pulse(value);
    const bool was_present = rest != absent;
    if (present) {
        std::uint16_t& low = learning.low[channel];
        low = low == absent ? value : std::min(low, value);
        learning.high[channel] = std::max(learning.high[channel], value);
    }
    if (present == was_present && (!present || std::abs(value - rest) <= rest_band_us))
        return true;
    rest = present ? value : absent;
    return false;
}

// A stick rests at its centre; what rests near an end is a switch.
Travel travel_between(int low, int high, int rest) {
    const int third = (high - low) / 3;
    const bool is_stick = rest >= low + third && rest <= high - third;
    const int centre = is_stick ? rest : (low + high) / 2;
    return {.low = static_cast<std::uint16_t>(low),
            .centre = static_cast<std::uint16_t>(centre),
            .high = static_cast<std::uint16_t>(high)};
}

// Nothing while one that has moved is away: it would be left out for good.
std::optional<Calibration> learnt_so_far(const Learning& learning, const Channels& raw) {
    Calibration calibration;
    std::size_t moved = 0;
    for (std::size_t channel = 0; channel < channel_count; ++channel) {
        const int low = learning.low[channel];
        const int high = learning.high[channel];
        if (high - low <= least_travel_us)
            continue;
        if (!is_pulse(raw[channel]))
            return std::nullopt;
        calibration[channel] = travel_between(low, high, raw[channel]);
        ++moved;
    }
    return moved >= least_channels ? std::optional(calibration) : std::nullopt;
}

} // namespace

Channels calibrated(const Calibration& calibration, const Channels& raw) {
    Channels mapped = raw;
    for (std::size_t channel = 0; channel < channel_count; ++channel) {
        if (calibration[channel] && raw[channel] != absent)
            mapped[channel] = map_to_travel(*calibration[channel], raw[channel]);
    }
    return mapped;
}

std::optional<Calibration> learn(Learning& learning, const Channels& raw, std::int64_t now_us) {
    bool all_rest = true;
    for (std::size_t channel = 0; channel < channel_count; ++channel)
        all_rest &= follow_channel(learning, channel, raw[channel]);
    if (!all_rest) {
        learning.resting_since = now_us;
        return std::nullopt;
    }
    if (now_us - learning.resting_since < rest_time_us)
        return std::nullopt;
    return learnt_so_far(learning, raw);
}

} // namespace rcin
