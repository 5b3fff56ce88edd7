#include "control/app_commands.h"

#include "apps/messages.h"
#include "camera/commands/camera_commands.h"
#include "config/config_record.h"
#include "config/config_report.h"
#include "config/boot_partition.h"
#include "config/config_saving.h"
#include "config/interface_codes.h"
#include "control/update_parameters.h"
#include "control/wifi.h"
#include "core/log.h"
#include "core/shell.h"
#include "core/statistics.h"
#include "core/status_block.h"
#include "core/text.h"
#include "core/word_table.h"

#include <array>
#include <cstdio>
#include <string>
#include <unistd.h>

namespace fieldrelaybox {

namespace {

constexpr int restart_status = 3; // the start script starts the daemon again
constexpr int restart_patience_ms = 5000;
constexpr std::size_t longest_scan_reply = 60'000;

void post_text(const std::string& text) {
    post_message({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()},
                 MessageKind::status);
}

void report_configuration(const AppRequest& /*request*/) {
    log_line("config request");
    ConfigRecord record{};
    copy_config_record(record);
    post_text(build_configuration_report(record, interface_list()));
}

void scan_wifi(const AppRequest& request) {
    const std::string& code = request.values[0];
    const auto interface_name = interface_of_code(code);
    if (request.param != "scan" || !interface_name || interface_name->empty())
        return;
    const std::string name(*interface_name);
    log_line("scan Wi-Fi on %s", name.c_str());
    const std::string head = R"({"cmd":"wlanscan","param":")" + code + R"(","value":")";
    const std::string tail = R"("})";
    const std::string results = scan_networks(name, longest_scan_reply - head.size() - tail.size());
    log_line("scan results: %s", results.c_str());
    post_text(head + results + tail);
}

void reboot_box(const AppRequest& /*request*/) {
    run_shell_command("reboot");
}

// Other threads keep running to the last instruction, so no destructor may run under them.
void restart_daemon(const AppRequest& /*request*/) {
    stop_saving(restart_patience_ms);
    std::fflush(nullptr);
    _exit(restart_status);
}

void shut_down_box(const AppRequest& /*request*/) {
    run_shell_command("shutdown");
}

// The RC input process calibrates anew when it starts without its calibration file.
void recalibrate_rc_input() {
    const auto run = [](const char* command) {
        run_shell_command(command, boot_command_time_limit_ms);
    };
    run_between_saves([run] {
        run("mount -o rw,remount /boot");
        run("rm -f /boot/rcin.cal");
        run("umount /boot");
        run("mount /boot");
    });
    run("killall -q rcin");
}

void control_rc_input(const AppRequest& request) {
    if (request.name == "recalibrate")
        recalibrate_rc_input();
    else if (request.name == "showchannels")
        store<std::uint8_t>(status_block().show_channels, is_true(request.values[0]) ? 1 : 0);
}

constexpr std::array<AppCommand, 41> commands{{
    // of the box
    {"configrequest", report_configuration},
    {"wlan", scan_wifi},
    {"reboot", reboot_box},
    {"restart", restart_daemon},
    {"shutdown", shut_down_box},
    {"rc", control_rc_input},
    {"updateparam", update_parameter},
    // of the camera and the gimbal
    {"camera", handle_camera},
    {"horizont", handle_horizont},
    {"exposure", handle_exposure},
    {"focus", handle_focus},
    {"position", handle_position},
    {"zoom", handle_zoom},
    {"orientation", handle_orientation},
    {"scenemode", handle_scene_mode},
    {"pitch", handle_pitch_lock},
    {"color", handle_color},
    {"scene", handle_scene},
    {"wb", handle_white_balance},
    {"shot", handle_shot},
    {"stopshot", handle_stop_shot},
    {"shotmode", handle_shot_mode},
    {"shottype", handle_shot_type},
    {"record", handle_record},
    {"hystogram", handle_histogram},
    {"video_mode", handle_exposure_mode},
    {"shutter", handle_shutter},
    {"aperture", handle_aperture},
    {"iso", handle_iso},
    {"ev", handle_ev},
    {"video_resolution", handle_video_resolution},
    {"video_aspect", handle_video_aspect},
    {"video_std", handle_video_standard},
    {"antiflicker", handle_antiflicker},
    {"calibratefocus", handle_calibrate_focus},
    {"formatmicrosd", handle_format_card},
    {"zoomadjustedsmoothtrack", handle_smoothtrack},
    {"time", handle_time},
    {"power", handle_power},
    {"wifi", handle_wifi},
    {"playback", handle_playback},
}};

static_assert(has_unique_words(commands));

} // namespace

std::span<const AppCommand> app_commands() {
    return commands;
}

void dispatch_app_command(const char* text, std::size_t length) {
    count(statistics().commands_taken);
    const std::optional<AppRequest> request = parse_app_request(text, length);
    const AppCommand* found = request ? find_word(commands, request->command) : nullptr;
    if (found != nullptr)
        found->handle(*request);
    else
        count(statistics().commands_unknown);
}

} // namespace fieldrelaybox
