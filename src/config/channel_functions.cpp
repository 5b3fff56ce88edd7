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
    // Behind the cleared state of the receiver, as the RC loop reads them the other way round.
    for (std::uint8_t& entry : status_block().channel_function)
        std::atomic_ref(entry).store(
            static_cast<std::uint8_t>(find_channel_function(take_item(map, ','))),
            std::memory_order_release);
}

} // namespace fieldrelaybox
