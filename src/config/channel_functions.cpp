#include "config/channel_functions.h"

#include "core/shared_access.h"
#include "core/status_block.h"
#include "core/text.h"

namespace fieldrelaybox {

ChannelFunction find_channel_function(std::string_view name) {
    const FunctionName* found = find_word(channel_functions, name);
    return found == nullptr ? ChannelFunction::none : found->function;
}

void parse_channel_map(std::string_view map) {
    for (std::uint8_t& entry : status_block().channel_function)
        store(entry, static_cast<std::uint8_t>(find_channel_function(take_item(map, ','))));
}

} // namespace fieldrelaybox
