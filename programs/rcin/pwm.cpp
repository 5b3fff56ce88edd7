#include "rcin/pwm.h"

#include <algorithm>
#include <utility>

namespace rcin {

namespace {

// Receivers pulse every 20 to 24 ms, some far more often: two may be missing, the third may not.
constexpr std::int64_t longest_pause_ns = 75'000'000;

// Lines are read one after the other, so that another's pulse may be a little later than now.
constexpr std::int64_t farthest_ahead_ns = 25'000'000;

bool is_alive(const PwmLine& line, std::int64_t now_ns) {
    return line.pulses > 0 && now_ns - line.last_ns <= longest_pause_ns &&
           line.last_ns - now_ns <= farthest_ahead_ns;
}

bool is_steady(const PwmLine& line) {
    return line.pulses >= line.widths_us.size();
}

void add_pulse(PwmLine& line, std::int64_t now_ns, std::int64_t width_us) {
    if (!is_alive(line, now_ns))
        line.pulses = 0;
    line.widths_us[line.pulses % line.widths_us.size()] = static_cast<std::uint16_t>(width_us);
    ++line.pulses;
    line.last_ns = now_ns;
    line.needed = line.needed || is_steady(line);
    line.fresh = true;
}

std::optional<std::uint16_t> width_of(const PwmLine& line, std::int64_t now_ns) {
    const bool alive = is_alive(line, now_ns);
    if (!alive && !line.needed)
        return absent;
    if (!alive || !is_steady(line))
        return {};
    const auto& [a, b, c] = line.widths_us;
    return median(a, b, c);
}

std::optional<Frame> frame_of(const PwmDecoder& decoder, std::int64_t now_ns) {
    Frame frame;
    for (std::size_t i = 0; i < decoder.size(); ++i) {
        const std::optional<std::uint16_t> width_us = width_of(decoder[i], now_ns);
        if (!width_us)
            return {};
        frame.channels_us[i] = *width_us;
    }
    return frame;
}

// So the time since the last frame is the time since a line was last heard.
std::optional<Frame> end_round(PwmDecoder& decoder, std::int64_t now_ns) {
    if (!std::ranges::all_of(decoder,
                             [](const PwmLine& line) { return line.fresh || !line.needed; }))
        return {};
    const std::optional<Frame> frame = frame_of(decoder, now_ns);
    if (frame)
        for (PwmLine& line : decoder)
            line.fresh = false;
    return frame;
}

} // namespace

std::optional<Frame> decode_pwm(PwmDecoder& decoder, const Edge& edge) {
    if (edge.line >= decoder.size())
        return {};
    PwmLine& line = decoder[edge.line];
    const std::optional<std::int64_t> rose_ns = std::exchange(line.rose_ns, std::nullopt);
    if (edge.high)
        line.rose_ns = edge.time_ns;
    const std::int64_t width_us = rose_ns ? width_between(*rose_ns, edge.time_ns) : 0;
    if (edge.high || !is_channel_width(width_us))
        return {};
    add_pulse(line, edge.time_ns, width_us);
    return end_round(decoder, edge.time_ns);
}

} // namespace rcin
