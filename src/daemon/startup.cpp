#include "daemon/startup.h"

#include "config/config_record.h"
#include "config/config_start.h"
#include "config/own_inputs.h"
#include "config/program_version.h"
#include "config/setting_updates.h"
#include "control/control_server.h"
#include "control/process_end.h"
#include "control/server_client.h"
#include "control/update_parameters.h"
#include "core/exit_status.h"
#include "core/log.h"
#include "core/service_manager.h"
#include "core/shell.h"
#include "core/sockets.h"
#include "core/statistics.h"
#include "core/status_block.h"
#include "core/text.h"
#include "daemon/data_source.h"
#include "daemon/supervisor.h"
#include "media/media_sources.h"
#include "media/relay.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <optional>
#include <unistd.h>

namespace fieldrelaybox {

namespace {

constexpr int governor_time_limit_ms = 2000;

void stamp_identity() {
    StatusBlock& block = status_block();
    block = StatusBlock{}; // every byte of it has a name
    store<std::uint8_t>(block.daemon_started, 1);
    copy_text(block.product_name, "Fieldrelaybox");
    copy_text(block.version_text, "v." + version_text());
}

// Another daemon whose status block was removed is known by this alone.
bool app_port_is_free() {
    const int socket = open_udp_socket();
    const bool is_free = bind_socket(socket, INADDR_ANY, control_port);
    close(socket);
    return is_free;
}

// Touches nothing of another daemon's.
std::optional<int> refuse_second_daemon() {
    if (const Opening opening = open_status_block(); opening != Opening::done)
        return opening == Opening::in_use ? exit_already_running : exit_unable;
    if (app_port_is_free())
        return std::nullopt;
    log_error("discovery bind failed");
    return exit_already_running;
}

void start_services() {
    init_video_bridge(); // the outputs, before anything can be received
    init_transcode();
    init_audio_source();
    init_video_source();
    init_data_source();
    init_device_discovery(); // the app port opens when everything it commands is there
    init_server_client();
}

} // namespace

int run_daemon() {
    open_log();
    std::signal(SIGPIPE, SIG_IGN); // a log reader that goes away must not end the daemon
    std::signal(SIGCHLD, SIG_DFL); // inherited as ignored, it would hide what commands return
    start_waiting_for_signals();
    if (const std::optional<int> refused = refuse_second_daemon())
        return *refused;
    stamp_identity();
    if (!open_statistics()) // before anything is counted
        log_error("cannot keep the statistics in shared memory %s: %s",
                  FIELDRELAYBOX_STATISTICS_NAME, std::strerror(errno));
    print_own_line("\033[1;37mFieldrelaybox v." + version_text() + "\033[0m");
    if (!init_config_record())
        return exit_unable;
    Supervisor supervisor{.pass_count = 0, .mirror = open_config_mirror()};
    if (supervisor.mirror == nullptr)
        return exit_unable;
    follow_late_settings();
    mirror_settings_at_start(); // overlays read these without opening the settings
    store_text(config_record().version, version_text());
    start_services();
    announce_ready();
    // Field cameras stutter when the processor clock changes under load.
    run_shell_command("echo performance > /sys/devices/system/cpu/cpu0/cpufreq/scaling_governor",
                      governor_time_limit_ms);
    run_supervisor(supervisor);
}

} // namespace fieldrelaybox
