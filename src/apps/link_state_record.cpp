#include "apps/link_state_record.h"

#include "apps/messages.h"
#include "config/config_record.h"

namespace fieldrelaybox {

LinkState link_state(bool connected) {
    if (load(config_record().camera_disabled) != 0)
        return LinkState::disabled;
    return connected ? LinkState::connected : LinkState::disconnected;
}

std::string_view link_status_text(MonitoredLink link, LinkState state) {
    const bool video = link == MonitoredLink::video;
    switch (state) {
    case LinkState::disabled:
        return video ? "video disabled" : "telemetry disabled";
    case LinkState::disconnected:
        return video ? "video disconnected" : "telemetry disconnected";
    case LinkState::connected:
        break;
    }
    return "";
}

void post_link_state(MonitoredLink link, LinkState state) {
    post_status_bytes(RecordCode::link_state,
                      {static_cast<std::uint8_t>(link), static_cast<std::uint8_t>(state)});
}

} // namespace fieldrelaybox
