// What an RC channel can do, and the channel-function table of the status block.
#pragma once

#include "core/enum_table.h"
#include "core/word_table.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace fieldrelaybox {

// The values of the channel-function table.
enum class ChannelFunction : std::uint8_t {
    pan = 0,
    tilt,
    record,
    record_shot,
    menu,
    ev,
    zoom,
    focus,
    roll,
    focus_pan,
    focus_tilt,
    digital_zoom,
    digital_zoom2,
    iso,
    shutter,
    aperture,
    video_mode,
    custom_focus_assistant,
    center,
    internal_camera,
    osd,
    orient_lock,
    none = 255,
};

inline constexpr auto channel_function_count =
    static_cast<std::size_t>(ChannelFunction::orient_lock) + 1;

// What a channel map calls it.
struct FunctionName {
    std::string_view word;
    ChannelFunction function;
};

inline constexpr std::array<FunctionName, channel_function_count> channel_functions{{
    {"pan", ChannelFunction::pan},
    {"tilt", ChannelFunction::tilt},
    {"roll", ChannelFunction::roll},
    {"center", ChannelFunction::center},
    {"orient-lock", ChannelFunction::orient_lock},
    {"record", ChannelFunction::record},
    {"record-shot", ChannelFunction::record_shot},
    {"menu", ChannelFunction::menu},
    {"videomode", ChannelFunction::video_mode},
    {"ev", ChannelFunction::ev},
    {"iso", ChannelFunction::iso},
    {"shutter", ChannelFunction::shutter},
    {"aperture", ChannelFunction::aperture},
    {"zoom", ChannelFunction::zoom},
    {"digital-zoom", ChannelFunction::digital_zoom},
    {"digital-zoom2", ChannelFunction::digital_zoom2},
    {"focus", ChannelFunction::focus},
    {"focus-pan", ChannelFunction::focus_pan},
    {"focus-tilt", ChannelFunction::focus_tilt},
    {"custom-focus-assistant", ChannelFunction::custom_focus_assistant},
    {"intcamera", ChannelFunction::internal_camera},
    {"osd", ChannelFunction::osd},
}};

static_assert(has_unique_words(channel_functions) &&
              names_each_once(channel_functions, &FunctionName::function));

// The function of that name in a channel map, exactly as written; none for any other name.
ChannelFunction find_channel_function(std::string_view name);

// Rebuilds the channel-function table of the status block from a comma-separated list: name i is
// the function of channel i; names beyond the 32nd are ignored, missing ones are none.
void parse_channel_map(std::string_view map);

} // namespace fieldrelaybox
