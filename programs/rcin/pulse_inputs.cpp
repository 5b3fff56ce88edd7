#include "rcin/pulse_inputs.h"

#include "rcin/edge_file.h"
#include "rcin/gpio_lines.h"
#include "rcin/ppm.h"
#include "rcin/pwm.h"

#include <charconv>
#include <memory>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace rcin {

namespace {

// Only one kind of edges for PPM: the kernel keeps 16 of a line, a frame has up to 34 of both.
struct PulseKind {
    std::string_view example;
    std::size_t most_lines;
    WatchedEdges watched;
};

constexpr PulseKind ppm_kind{"gpiochip0:4", 1, WatchedEdges::rising};
constexpr PulseKind pwm_kind{"gpiochip0:4,17,27", most_pwm_lines, WatchedEdges::both};

using DecodeEdge = std::function<std::optional<Frame>(const Edge&)>;

// The last frame of all that came together: the ones before it are history.
struct NewestFrame {
    DecodeEdge decode;
    std::optional<Frame> frame;
};

auto into(NewestFrame& newest) {
    return [&newest](const Edge& edge) {
        if (std::optional<Frame> frame = newest.decode(edge))
            newest.frame = frame;
    };
}

void hand_over(NewestFrame& newest, const TakeFrame& take) {
    if (const std::optional<Frame> frame = std::exchange(newest.frame, std::nullopt))
        take(*frame);
}

Opened open_edge_file(const std::string& path, const PulseKind& kind, DecodeEdge decode) {
    EdgeFile file = read_edge_file(path, kind.most_lines);
    if (!file.fault.empty())
        return {.input = {}, .fault = file.fault, .hint = {}};
    auto player = std::make_shared<EdgePlayer>(EdgePlayer{std::move(file.edges), 0, {}});
    return {.input = Input{.descriptors = {},
                           .read =
                               [player, newest = NewestFrame{std::move(decode), {}}](
                                   std::int64_t now_us, const TakeFrame& take) mutable {
                                   const auto wake_us = play_edges(*player, now_us, into(newest));
                                   hand_over(newest, take);
                                   return Reading{.gone = false, .wake_us = wake_us};
                               }},
            .fault = {},
            .hint = {}};
}

struct ChipLines {
    std::string chip;
    std::vector<unsigned> offsets;
};

// Nothing when it is not "CHIP:LINE,LINE,..." with up to most_lines lines.
std::optional<ChipLines> parse_chip_lines(std::string_view device, std::size_t most_lines) {
    const std::size_t colon = device.rfind(':');
    if (colon == std::string_view::npos || colon == 0)
        return {};
    ChipLines parsed{std::string(device.substr(0, colon)), {}};
    for (std::string_view rest = device.substr(colon); !rest.empty();) {
        rest.remove_prefix(1);
        unsigned offset = 0;
        const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), offset);
        rest.remove_prefix(static_cast<std::size_t>(end - rest.data()));
        if (error != std::errc{} || (!rest.empty() && rest.front() != ','))
            return {};
        parsed.offsets.push_back(offset);
    }
    return parsed.offsets.size() > most_lines ? std::nullopt : std::optional(parsed);
}

Opened open_chip(const std::string& device, const PulseKind& kind, DecodeEdge decode) {
    const std::optional<ChipLines> wanted = parse_chip_lines(device, kind.most_lines);
    if (!wanted)
        return {.input = {},
                .fault = device + " is not of the kind of " + std::string(kind.example) +
                         " with up to " + std::to_string(kind.most_lines) + " lines",
                .hint = {}};
    const RequestedLines requested = request_lines(wanted->chip, wanted->offsets, kind.watched);
    if (!requested.lines)
        return {.input = {}, .fault = requested.fault, .hint = {}};
    return {.input =
                Input{.descriptors = descriptors_of(*requested.lines),
                      .read =
                          [lines = requested.lines, newest = NewestFrame{std::move(decode), {}}](
                              std::int64_t /*now_us*/, const TakeFrame& take) mutable {
                              const bool there = read_edges(*lines, into(newest));
                              hand_over(newest, take);
                              return Reading{.gone = !there};
                          }},
            .fault = {},
            .hint = {}};
}

Opened open_pulses(const std::string& device, const PulseKind& kind, DecodeEdge decode) {
    constexpr std::string_view recording = "edges:";
    if (device.starts_with(recording))
        return open_edge_file(device.substr(recording.size()), kind, std::move(decode));
    return open_chip(device, kind, std::move(decode));
}

} // namespace

Opened open_ppm(const std::string& device) {
    return open_pulses(device, ppm_kind, [decoder = PpmDecoder{}](const Edge& edge) mutable {
        return decode_ppm(decoder, edge);
    });
}

Opened open_pwm(const std::string& device) {
    return open_pulses(device, pwm_kind, [decoder = PwmDecoder{}](const Edge& edge) mutable {
        return decode_pwm(decoder, edge);
    });
}

} // namespace rcin
