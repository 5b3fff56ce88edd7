// What a channel's pulse widths mean: its ends and its centre, learnt while the pilot moves
// everything, and mapped to 1000, 1500 and 2000 from then on.
#pragma once

#include "rcin/frame.h"

#include <array>
#include <cstdint>
#include <optional>

namespace rcin {

// What a pulse width can be at all; anything else is passed over.
inline constexpr std::uint16_t shortest_pulse_us = 500;
inline constexpr std::uint16_t longest_pulse_us = 2500;

// In microseconds, low < centre < high.
struct Travel {
    std::uint16_t low;
    std::uint16_t centre;
    std::uint16_t high;

    bool operator==(const Travel&) const = default;
};

// By channel; a channel without one passes unchanged.
using Calibration = std::array<std::optional<Travel>, channel_count>;

Channels calibrated(const Calibration& calibration, const Channels& raw);

struct Learning {
    Channels low{};
    Channels high{};
    Channels rest{};                // where each channel lies since resting_us
    std::int64_t resting_since = 0; // monotonic microseconds
};

// Takes the values of a moment, also unchanged ones. Returns the calibration once at least two
// channels have moved by more than 300 us and all have then rested for 2 s within 5 us. A channel
// that comes or goes has not rested; one that is away does not count, unless it has moved: then it
// has to be back first.
std::optional<Calibration> learn(Learning& learning, const Channels& raw, std::int64_t now_us);

} // namespace rcin
