#include "daemon/supervisor.h"

#include "apps/app_clients.h"
#include "apps/messages.h"
#include "apps/server_link.h"
#include "camera/builders/camera_system.h"
#include "camera/state/data_watchdog.h"
#include "config/config_record.h"
#include "config/config_saving.h"
#include "control/wifi.h"
#include "core/clock.h"
#include "core/lanes.h"
#include "core/life_signs.h"
#include "core/log.h"
#include "core/service_manager.h"
#include "core/shell.h"
#include "core/status_block.h"
#include "core/threads.h"
#include "media/media_sources.h"
#include "media/udp_clients.h"

#include <array>
#include <cstring>

namespace fieldrelaybox {

namespace {

constexpr std::int64_t pause_between_passes_us = 3'000'000;
constexpr std::int32_t passes_between_probes = 10;
constexpr int command_time_limit_ms = 2000;

// All that can hold up a pass: the probe and the search for the access point, each with its
// killing, the Wi-Fi query, and sends to whoever is out of reach.
constexpr std::int64_t limited_commands = 2;
constexpr int sending_ms = 3000;
constexpr std::int64_t longest_pass_ms =
    limited_commands * (command_time_limit_ms + kill_patience_ms) + link_status_patience.count() +
    sending_ms;
// Twice, so that a thread which shows its life just behind a pass has another one.
static_assert(2 * (longest_pass_ms + pause_between_passes_us / 1000) < watchdog_ms);

// A tool that hangs counts as one that failed.
std::uint8_t succeeds(const char* command) {
    return run_shell_command(command, command_time_limit_ms) == 0 ? 1 : 0;
}

void probe_internet() {
    store(config_record().internet_reachable,
          succeeds("ping -c 1 -W 1 " FIELDRELAYBOX_PROBE_TARGET " > /dev/null 2>&1"));
}

LinkStatus camera_wifi_status() {
    LinkStatus status;
    const std::string interface_name = load_text(config_record().camera_iface);
    if (!interface_name.empty())
        query_link_status(interface_name, status);
    return status;
}

void post_wifi_status(const LinkStatus& status, const std::string& ssid) {
    constexpr std::size_t ssid_offset = 6;
    constexpr std::size_t longest_ssid = 19;
    std::array<std::uint8_t, 27> record{code_of(RecordCode::wifi_link), status.quality,
                                        status.quality_max, status.signal};
    put_u16le(&record[4], static_cast<std::uint16_t>(status.frequency & 0xFFFF));
    std::memcpy(&record[ssid_offset], ssid.data(), std::min(ssid.size(), longest_ssid));
    post_message(record, MessageKind::status);
}

// Each stored byte is shifted to its place unmasked; only bit 6 is masked.
std::uint8_t box_flags() {
    const ConfigRecord& record = config_record();
    const StatusBlock& block = status_block();
    return static_cast<std::uint8_t>(
        load(record.always_one) | load(record.apstate) << 1 | load(record.hdmi_enabled) << 2 |
        load(record.internet_reachable) << 3 | load(record.video_connected) << 4 |
        load(record.camera_disabled) << 5 | (load(block.camera_flag_1881) & 1) << 6 |
        load(block.camera_flag_1882) << 7);
}

std::uint8_t output_flags() {
    const ConfigRecord& record = config_record();
    return static_cast<std::uint8_t>(load(record.udp_enabled) | load(record.rtmp_enabled) << 1 |
                                     load(record.mpegts_enabled) << 2 |
                                     load(record.tcp_enabled) << 3 |
                                     load(record.rtsp_enabled) << 4);
}

void post_box_state() {
    const StatusBlock& block = status_block();
    post_status_bytes(RecordCode::box_state,
                      {box_flags(), load(block.app_client_count), output_flags(),
                       load(config_record().focus_assistant_enabled), load(block.rc_receiver_state),
                       0});
}

void post_version() {
    post_status_bytes(RecordCode::version,
                      {daemon_version.major, daemon_version.minor, daemon_version.patch});
}

// Says once who is silent: the service manager ends the daemon when that lasts.
void feed_watchdog_while_all_live(const char*& silent) {
    const char* const found = find_silent_thread();
    if (found == nullptr)
        feed_watchdog();
    else if (found != silent)
        log_warning("no sign of life from the thread %s", found);
    silent = found;
}

} // namespace

void run_supervisor_pass(Supervisor& supervisor) {
    video_watchdog(timer_clock());
    data_watchdog(timer_clock());
    sync_camera_clock();
    sweep_app_clients(timer_clock());
    resume_lanes();
    tell_of_slow_save(timer_clock());
    tell_lines_left_out();
    flush_log();
    server_keepalive();
    check_udp_clients();
    if (supervisor.pass_count % passes_between_probes == 0)
        probe_internet();
    const LinkStatus status = camera_wifi_status();
    const std::string ssid = status.ssid.value_or("(null)");
    post_wifi_status(status, ssid);
    store_text(config_record().camera_link_ssid, ssid);
    store(config_record().apstate, succeeds("pidof hostapd > /dev/null"));
    post_box_state();
    post_version();
    store(config_record().clock, millisecond_clock());
    if (supervisor.mirror != nullptr)
        copy_config_record(*supervisor.mirror);
    // Wraps without overflow after 200 years.
    supervisor.pass_count =
        static_cast<std::int32_t>(static_cast<std::uint32_t>(supervisor.pass_count) + 1);
}

void run_supervisor(Supervisor& supervisor) {
    const char* silent = nullptr;
    while (true) {
        run_guarded("supervisor", [&] { run_supervisor_pass(supervisor); });
        feed_watchdog_while_all_live(silent);
        sleep_us(pause_between_passes_us);
    }
}

} // namespace fieldrelaybox
