// PPM: all channels on one line, one after the other, then a gap. A channel lasts from the start of
// one pulse to the start of the next.
#pragma once

#include "rcin/edges.h"
#include "rcin/frame.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace rcin {

using PpmWidths = std::array<std::uint16_t, receiver_channels>;

// Up to three whole frames in a row with the same number of channels.
struct PpmFrames {
    std::size_t channels = 0;
    std::size_t count = 0;
    std::array<PpmWidths, 3> widths_us{};
};

struct PpmDecoder {
    std::optional<std::int64_t> last_ns; // the edge before
    bool whole = false;                  // the frame so far: from a gap on, all widths are good
    std::size_t channels = 0;            // of it
    PpmWidths widths_us{};               // of it
    std::int64_t last_whole_ns = 0;      // the end of the whole frame before
    PpmFrames known;                     // what frames are made of
    PpmFrames strange;                   // frames with another number of channels
};

// Takes the edges of the line in turn; the frame when one has ended with this edge. Only edges of
// one kind are looked at: every pulse of a transmitter is as wide as the others, so that from edge
// to equal edge the time is the channel's, whichever way round the signal is.
std::optional<Frame> decode_ppm(PpmDecoder& decoder, const Edge& edge);

} // namespace rcin
