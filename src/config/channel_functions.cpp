#include "config/channel_functions.h"

#include "core/shared_access.h"
#include "core/status_block.h"

#include <algorithm>

namespace fieldrelaybox {

namespace {

// Cuts the text up to the next comma from the front of list.
std::string_view take_item(std::string_view& list) {
    const std::string_view item = list.substr(0, list.find(','));
    list.remove_prefix(std::min(list.size(), item.size() + 1));
    return item;
}

} // namespace

ChannelFunction find_channel_function(std::string_view name) {
    const FunctionName* found = find_word(channel_functions, name);
    return found == nullptr ? ChannelFunction::none : found->function;
}

void parse_channel_map(std::string_view map) {
    for (std::uint8_t& entry : status_block().channel_function)
        store(entry, static_cast<std::uint8_t>(find_channel_function(take_item(map))));
}

} // namespace fieldrelaybox
