#include "rcin/edge_file.h"

#include "rcin/input.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>

namespace rcin {

namespace {

constexpr std::string_view blanks = " \t\r";
constexpr std::int64_t latest_ns = 1'000'000'000'000'000'000; // no sum with it overflows

// Takes the number at the start of rest, and the blanks around it.
std::optional<std::int64_t> take_number(std::string_view& rest) {
    rest.remove_prefix(std::min(rest.find_first_not_of(blanks), rest.size()));
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
    if (error != std::errc{})
        return {};
    rest.remove_prefix(static_cast<std::size_t>(end - rest.data()));
    rest.remove_prefix(std::min(rest.find_first_not_of(blanks), rest.size()));
    return number;
}

std::optional<Edge> parse_edge(std::string_view text, std::size_t most_lines) {
    const std::optional<std::int64_t> time_ns = take_number(text);
    const std::optional<std::int64_t> level = time_ns ? take_number(text) : std::nullopt;
    const std::optional<std::int64_t> line = text.empty() ? 1 : take_number(text);
    const auto is_within = [](std::optional<std::int64_t> number, std::int64_t low,
                              std::int64_t high) {
        return number && *number >= low && *number <= high;
    };
    if (!is_within(time_ns, 0, latest_ns) || !is_within(level, 0, 1) ||
        !is_within(line, 1, static_cast<std::int64_t>(most_lines)) || !text.empty())
        return {};
    return Edge{*time_ns, static_cast<std::uint8_t>(*line - 1), *level == 1};
}

bool is_passed_over(std::string_view text) {
    const std::size_t first = text.find_first_not_of(blanks);
    return first == std::string_view::npos || text[first] == '#';
}

std::int64_t due_us(const EdgePlayer& player, std::int64_t start_us) {
    const std::int64_t since_first = player.edges[player.next].time_ns - player.edges[0].time_ns;
    return start_us + since_first / 1000;
}

} // namespace

EdgeFile read_edge_file(const std::string& path, std::size_t most_lines) {
    std::error_code error;
    std::ifstream stream;
    if (std::filesystem::is_regular_file(path, error)) // nothing that goes on for ever
        stream.open(path);
    if (!stream.is_open())
        return {.edges = {}, .fault = path + " cannot be read"};
    EdgeFile file;
    std::string text;
    for (int number = 1; std::getline(stream, text); ++number) {
        if (is_passed_over(text))
            continue;
        const std::optional<Edge> edge = parse_edge(text, most_lines);
        if (!edge)
            return {.edges = {},
                    .fault = path + " line " + std::to_string(number) +
                             " is no nanoseconds, level and line"};
        file.edges.push_back(*edge);
    }
    if (file.edges.empty())
        file.fault = path + " holds no edges";
    return file;
}

std::int64_t play_edges(EdgePlayer& player, std::int64_t now_us,
                        const std::function<void(const Edge&)>& take) {
    if (!player.start_us)
        player.start_us = now_us;
    for (; player.next < player.edges.size(); ++player.next) {
        const std::int64_t due = due_us(player, *player.start_us);
        if (due > now_us)
            return due;
        take(player.edges[player.next]);
    }
    return never_us;
}

} // namespace rcin
