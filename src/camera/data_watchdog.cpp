#include "camera/data_watchdog.h"

#include "camera/camera_link.h"
#include "camera/camera_system.h"
#include "control/link_state_record.h"
#include "core/clock.h"
#include "core/log.h"
#include "core/shell.h"
#include "core/status_block.h"
#include "core/text.h"

namespace fieldrelaybox {

namespace {

constexpr std::int32_t silence_limit_ms = 3000;

// The flag last: a camera that comes back meanwhile connects after all this, not in the middle of
// it.
void disconnect_camera() {
    log_line("data disconnected");
    clear_live_link_bytes();
    run_shell_command("echo 1 > /proc/sys/net/ipv4/ip_forward");
    camera_link().connected = false;
}

void set_camera_clock() {
    const LocalDateTime time = local_date_time();
    if (time.year > 1900)
        sync_camera_clock(time);
}

} // namespace

void data_watchdog(std::uint32_t now) {
    if (camera_connected() && elapsed_ms(now, camera_link().last_datagram_ms.load(
                                                  std::memory_order_relaxed)) > silence_limit_ms)
        disconnect_camera();
    const LinkState state = link_state(camera_connected());
    copy_text(status_block().telemetry_status, link_status_text(MonitoredLink::data, state));
    post_link_state(MonitoredLink::data, state);
    if (camera_connected())
        set_camera_clock();
}

} // namespace fieldrelaybox
