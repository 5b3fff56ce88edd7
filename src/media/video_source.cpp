#include "media/media_sources.h"

#include "apps/link_state_record.h"
#include "config/config_record.h"
#include "core/clock.h"
#include "core/ip_forwarding.h"
#include "core/log.h"
#include "core/status_block.h"
#include "core/text.h"
#include "media/media_receiver.h"
#include "media/relay.h"

#include <atomic>

namespace fieldrelaybox {

namespace {

constexpr std::size_t datagram_capacity = 60'000;
constexpr int socket_buffer_bytes = 600'000;
constexpr std::int32_t silence_limit_ms = 1000;
constexpr std::int64_t pause_while_disabled_us = 1'000'000;

// The watchdog judges by this flag; the published bytes have other writers too.
std::atomic<bool> connected{false};
std::atomic<std::int64_t> last_video_ms{0}; // meaningful only while connected

void publish_connected(bool value) {
    store<std::uint8_t>(status_block().video_connected, value ? 1 : 0);
    store<std::uint8_t>(config_record().video_connected, value ? 1 : 0);
}

void connect_video() {
    log_line("video connected");
    publish_connected(true);
    connected.store(true, std::memory_order_release);
    set_ip_forwarding(false);
}

// The flag last: video that comes back meanwhile connects after all this, not in the middle of it.
void disconnect_video() {
    log_line("video disconnected");
    publish_connected(false);
    set_ip_forwarding(true);
    connected.store(false, std::memory_order_release);
}

} // namespace

void init_video_source() {
    log_line("Init video source");
    connected = false;
    publish_connected(false);
    start_media_receiver({"video", Vital::relay, video_source_port, datagram_capacity,
                          socket_buffer_bytes, media_pause_us, &Statistics::video_in, true,
                          [](Datagrams rest) { return handle_video(rest, timer_clock()); }});
}

std::size_t handle_video(Datagrams rest, std::int64_t now) {
    if (load(config_record().camera_disabled) != 0) {
        sleep_us(pause_while_disabled_us);
        return 1;
    }
    // The time first, so that a watchdog pass in between cannot drop the link again.
    last_video_ms.store(now, std::memory_order_relaxed);
    if (!connected.load(std::memory_order_acquire))
        connect_video();
    return relay_video(rest);
}

void video_watchdog(std::int64_t now) {
    if (connected.load(std::memory_order_acquire) &&
        now - last_video_ms.load(std::memory_order_relaxed) > silence_limit_ms)
        disconnect_video();
    const LinkState state = link_state(connected.load(std::memory_order_relaxed));
    copy_text(status_block().video_status, link_status_text(MonitoredLink::video, state));
    post_link_state(MonitoredLink::video, state);
}

} // namespace fieldrelaybox
