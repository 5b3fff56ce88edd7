// How the state of the video and data links is shown: texts for the overlays and the code-5 record.
#pragma once

#include <cstdint>
#include <string_view>

namespace fieldrelaybox {

enum class MonitoredLink : std::uint8_t { data = 0, video = 1 };
enum class LinkState : std::uint8_t { disconnected = 0, connected = 2, disabled = 3 };

// Disabled while the app has disabled the camera, otherwise as connected says.
LinkState link_state(bool connected);

// "" while connected, otherwise such as "video disconnected" or "telemetry disabled".
std::string_view link_status_text(MonitoredLink link, LinkState state);

// Posts the code-5 record.
void post_link_state(MonitoredLink link, LinkState state);

} // namespace fieldrelaybox
