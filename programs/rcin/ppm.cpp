#include "rcin/ppm.h"

namespace rcin {

namespace {

constexpr std::int64_t gap_us = 3000; // what is longer separates frames
constexpr std::int64_t silence_ns = 100'000'000;

// No transmitter sends less; a disturbed frame's rest often has fewer.
constexpr std::size_t fewest_channels = 4;

void add(PpmFrames& frames, std::size_t channels, const PpmWidths& widths_us) {
    if (frames.channels != channels)
        frames = {.channels = channels};
    frames.widths_us[frames.count % frames.widths_us.size()] = widths_us;
    ++frames.count;
}

bool is_full(const PpmFrames& frames) {
    return frames.count >= frames.widths_us.size();
}

Frame median_frame(const PpmFrames& frames) {
    Frame frame;
    const auto& [a, b, c] = frames.widths_us;
    for (std::size_t i = 0; i < frames.channels; ++i)
        frame.channels_us[i] = median(a[i], b[i], c[i]);
    return frame;
}

// What was before a silence has no say in what comes after it. Another number of channels counts
// once three frames in a row have it: a lost edge may look like a gap, and the frame like two.
std::optional<Frame> end_frame(PpmDecoder& decoder, std::int64_t now_ns) {
    if (now_ns - decoder.last_whole_ns > silence_ns)
        decoder.known = decoder.strange = {};
    decoder.last_whole_ns = now_ns;
    const bool is_known = decoder.channels == decoder.known.channels;
    PpmFrames& frames = is_known ? decoder.known : decoder.strange;
    add(frames, decoder.channels, decoder.widths_us);
    if (!is_full(frames))
        return {};
    decoder.known = frames;
    decoder.strange = {};
    return median_frame(decoder.known);
}

} // namespace

std::optional<Frame> decode_ppm(PpmDecoder& decoder, const Edge& edge) {
    if (!edge.high)
        return {};
    const std::int64_t before_ns = decoder.last_ns.value_or(edge.time_ns);
    decoder.last_ns = edge.time_ns;
    const std::int64_t width_us = width_between(before_ns, edge.time_ns);
    if (width_us <= gap_us) {
        decoder.whole = decoder.whole && is_channel_width(width_us) &&
                        decoder.channels < decoder.widths_us.size();
        if (decoder.whole)
            decoder.widths_us[decoder.channels++] = static_cast<std::uint16_t>(width_us);
        return {};
    }
    std::optional<Frame> frame;
    const bool in_time = edge.time_ns - before_ns <= silence_ns;
    if (decoder.whole && in_time && decoder.channels >= fewest_channels)
        frame = end_frame(decoder, edge.time_ns);
    decoder.whole = true;
    decoder.channels = 0;
    return frame;
}

} // namespace rcin
