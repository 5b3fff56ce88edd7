#include "camera/state/data_watchdog.h"

#include "apps/link_state_record.h"
#include "camera/link/camera_link.h"
#include "camera/state/camera_state.h"
#include "core/clock.h"
#include "core/ip_forwarding.h"
#include "core/log.h"
#include "core/status_block.h"
#include "core/text.h"

#include <mutex>

namespace fieldrelaybox {

namespace {

constexpr std::int32_t silence_limit_ms = 3000;

void disconnect_camera() {
    log_line("data disconnected");
    clear_live_link_bytes();
    set_ip_forwarding(true);
    camera_link().connected = false;
}

// A camera that comes back meanwhile connects after all this, with its first datagram.
void drop_silent_camera(std::int64_t now) {
    const std::lock_guard lock(link_change_mutex());
    if (camera_connected() &&
        now - camera_link().last_datagram_ms.load(std::memory_order_relaxed) > silence_limit_ms)
        disconnect_camera();
}

} // namespace

void data_watchdog(std::int64_t now) {
    drop_silent_camera(now);
    const LinkState state = link_state(camera_connected());
    copy_text(status_block().telemetry_status, link_status_text(MonitoredLink::data, state));
    post_link_state(MonitoredLink::data, state);
}

} // namespace fieldrelaybox
