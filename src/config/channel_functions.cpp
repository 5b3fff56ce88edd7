#include "config/channel_functions.h"

#include "core/enum_table.h"
#include "core/shared_access.h"
#include "core/status_block.h"
#include "core/word_table.h"

#include <algorithm>
#include <array>

namespace fieldrelaybox {

namespace {

struct FunctionName {
    std::string_view word;
    ChannelFunction function;
};

constexpr std::array<FunctionName, channel_function_count> names{{
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

static_assert(has_unique_words(names) && names_each_once(names, &FunctionName::function));

// Cuts the text up to the next comma from the front of list.
std::string_view take_item(std::string_view& list) {
    const std::string_view item = list.substr(0, list.find(','));
    list.remove_prefix(std::min(list.size(), item.size() + 1));
    return item;
}

} // namespace

ChannelFunction find_channel_function(std::string_view name) {
    const FunctionName* found = find_word(names, name);
    return found == nullptr ? ChannelFunction::none : found->function;
}

void parse_channel_map(std::string_view map) {
    for (std::uint8_t& entry : status_block().channel_function)
        store(entry, static_cast<std::uint8_t>(find_channel_function(take_item(map))));
}

} // namespace fieldrelaybox
