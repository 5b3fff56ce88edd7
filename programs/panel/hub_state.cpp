#include "panel/hub_state.h"

#include <algorithm>
#include <string>

namespace panel {

std::size_t viewer_count(const Hub& hub) {
    return static_cast<std::size_t>(std::ranges::count_if(
        hub.browsers, [](const auto& entry) { return entry.second.watches; }));
}

SendCommand sender_to(Hub& hub) {
    return [&hub](const std::string& json) { send_command(hub.link, json); };
}

} // namespace panel
