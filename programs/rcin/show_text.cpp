#include "rcin/show_text.h"

#include "config/channel_functions.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace rcin {

namespace {

// Receivers tremble by a few microseconds, hands do not.
constexpr int movement_us = 20;
constexpr std::int64_t mark_time_us = 1'000'000;

// The heartbeat changes every 100 ms at least.
constexpr std::int64_t heartbeat_time_us = 500'000;

constexpr std::array<std::string_view, 7> state_words{
    "RC input is off",
    "no receiver or pad: is it plugged in?",
    "waiting for a signal",
    "calibrating: move every stick and switch to its ends, then leave all at rest for 2 s",
    "signal lost",
    "failsafe: the receiver has lost the transmitter",
    "good"};

bool has_heartbeat(const Watched& watched, std::int64_t now_us) {
    return watched.heartbeat_us != 0 && now_us - watched.heartbeat_us < heartbeat_time_us;
}

std::string state_text(const Watched& watched, const StatusBlock& block, std::int64_t now_us) {
    const std::size_t state = block.rc_receiver_state;
    const std::string number = std::to_string(state);
    if (!has_heartbeat(watched, now_us))
        return state == 0 ? "state 0: no RC input process is running"
                          : "state " + number + ", but no sign of life from the RC input process";
    return "state " + number + ": " +
           std::string(state < state_words.size() ? state_words[state] : "unknown");
}

std::string_view function_word(std::uint8_t function) {
    using namespace fieldrelaybox;
    const auto* const found = std::find_if(
        channel_functions.begin(), channel_functions.end(), [function](const FunctionName& name) {
            return static_cast<std::uint8_t>(name.function) == function;
        });
    return found == channel_functions.end() ? std::string_view{} : found->word;
}

// A place for every 50 us from 1000 to 2000, the centre marked.
std::string bar(std::uint16_t width_us) {
    constexpr int last = 20;
    std::string places(last + 1, '-');
    places[last / 2] = '+';
    if (width_us != 0)
        places[static_cast<std::size_t>(std::clamp((width_us - 1000 + 25) / 50, 0, last))] = '#';
    return places;
}

std::string channel_line(const WatchedChannel& channel, std::size_t number, std::uint16_t width_us,
                         std::string_view function, std::int64_t now_us) {
    std::array<char, 80> text{};
    const bool moved = channel.moved_us != 0 && now_us - channel.moved_us < mark_time_us;
    std::snprintf(text.data(), text.size(), "%2zu  %4u  %s  %-22.*s %s", number,
                  static_cast<unsigned>(width_us), bar(width_us).c_str(),
                  static_cast<int>(function.size()), function.data(), moved ? "<- moved" : "");
    std::string line = text.data();
    line.erase(line.find_last_not_of(' ') + 1);
    return line + '\n';
}

void watch_channel(WatchedChannel& channel, std::uint16_t width_us, std::int64_t now_us) {
    const bool appears = channel.rest_us == 0 || width_us == 0;
    if (!appears && std::abs(width_us - channel.rest_us) > movement_us) {
        channel.moved_us = now_us;
        channel.rest_us = width_us;
    }
    if (appears)
        channel.rest_us = width_us;
}

} // namespace

void watch(Watched& watched, const StatusBlock& block, std::int64_t now_us) {
    for (std::size_t i = 0; i < watched.channels.size(); ++i)
        watch_channel(watched.channels[i], block.rc_channels[i], now_us);
    if (block.rc_heartbeat != watched.heartbeat.value_or(block.rc_heartbeat))
        watched.heartbeat_us = now_us;
    watched.heartbeat = block.rc_heartbeat;
}

std::string screen_text(const Watched& watched, const StatusBlock& block, std::int64_t now_us) {
    std::string text = state_text(watched, block, now_us) + "\n\n";
    for (std::size_t i = 0; i < watched.channels.size(); ++i) {
        const std::string_view function = function_word(block.channel_function[i]);
        if (block.rc_channels[i] != 0 || !function.empty())
            text +=
                channel_line(watched.channels[i], i + 1, block.rc_channels[i], function, now_us);
    }
    return text;
}

std::string fitting_text(const std::string& screen, std::size_t rows, std::size_t columns) {
    std::size_t used = 1; // where the cursor rests
    for (std::size_t start = 0; start < screen.size();) {
        const std::size_t end = screen.find('\n', start);
        const std::size_t length = end - start;
        used += length == 0 ? 1 : (length + columns - 1) / columns;
        const bool is_last = end + 1 == screen.size();
        if (used + (is_last ? 0 : 1) > rows) {
            const auto from = screen.begin() + static_cast<std::ptrdiff_t>(start);
            return screen.substr(0, start) + std::to_string(std::count(from, screen.end(), '\n')) +
                   " more: make the window higher\n";
        }
        start = end + 1;
    }
    return screen;
}

std::string line_text(const Watched& watched, const StatusBlock& block, std::int64_t now_us) {
    std::string text = state_text(watched, block, now_us) + ";";
    for (std::size_t i = 0; i < watched.channels.size(); ++i) {
        const std::string_view function = function_word(block.channel_function[i]);
        if (block.rc_channels[i] == 0)
            continue;
        text += ' ' + std::to_string(i + 1);
        if (!function.empty())
            text += '(' + std::string(function) + ')';
        text += '=' + std::to_string(block.rc_channels[i]);
    }
    return text + '\n';
}

} // namespace rcin
