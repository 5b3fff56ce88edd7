// PWM: a line for each channel, which is high for as long as the channel says.
#pragma once

#include "rcin/edges.h"
#include "rcin/frame.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace rcin {

inline constexpr std::size_t most_pwm_lines = 8;

struct PwmLine {
    std::optional<std::int64_t> rose_ns; // while it is high
    std::int64_t last_ns = 0;            // the end of its last pulse
    std::size_t pulses = 0;              // in a row
    std::array<std::uint16_t, 3> widths_us{};
    bool needed = false; // it has pulsed steadily: without it there is no frame
    bool fresh = false;  // it has pulsed since the last frame
};

using PwmDecoder = std::array<PwmLine, most_pwm_lines>;

// Takes the edges of all lines as they come; the frame after the pulse that ends a round, with
// which each line that has ever pulsed steadily has pulsed anew. A line that never pulses is an
// absent channel. One that stops is a wire that came loose, or a receiver that stops a channel
// because it has lost the transmitter: from its last pulse on there are no more frames until it is
// back, so that no stick is taken for where it was. After more than two missing pulses it starts
// afresh.
std::optional<Frame> decode_pwm(PwmDecoder& decoder, const Edge& edge);

} // namespace rcin
