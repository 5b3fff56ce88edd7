#include "config/channel_functions.h"

#include "core/shared_access.h"
#include "core/status_block.h"

#include <algorithm>
#include <array>

namespace fieldrelaybox {

namespace {

// In the order of ChannelFunction.
constexpr std::array<std::string_view, 22> names{
    "pan",           "tilt",      "record",  "record-shot", "menu",       "ev",
    "zoom",          "focus",     "roll",    "focus-pan",   "focus-tilt", "digital-zoom",
    "digital-zoom2", "iso",       "shutter", "aperture",    "videomode",  "custom-focus-assistant",
    "center",        "intcamera", "osd",     "orient-lock"};

static_assert(names[static_cast<std::size_t>(ChannelFunction::orient_lock)] == "orient-lock");

// Cuts the text up to the next comma from the front of list.
std::string_view take_item(std::string_view& list) {
    const std::string_view item = list.substr(0, list.find(','));
    list.remove_prefix(std::min(list.size(), item.size() + 1));
    return item;
}

} // namespace

ChannelFunction find_channel_function(std::string_view name) {
    const auto* found = std::find(names.begin(), names.end(), name);
    return found == names.end() ? ChannelFunction::none
                                : static_cast<ChannelFunction>(found - names.begin());
}

void parse_channel_map(std::string_view map) {
    for (std::uint8_t& entry : status_block().channel_function)
        store(entry, static_cast<std::uint8_t>(find_channel_function(take_item(map))));
}

} // namespace fieldrelaybox
