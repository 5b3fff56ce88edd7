// What an RC channel can do, and the channel-function table of the status block.
#pragma once

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

// The function of that name in a channel map, exactly as written; none for any other name.
ChannelFunction find_channel_function(std::string_view name);

// Rebuilds the channel-function table of the status block from a comma-separated list: name i is
// the function of channel i; names beyond the 32nd are ignored, missing ones are none.
void parse_channel_map(std::string_view map);

} // namespace fieldrelaybox
