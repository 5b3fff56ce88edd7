#include "control/app_commands.h"

#include "apps/messages.h"
#include "camera/commands/camera_commands.h"
#include "config/boot_mounting.h"
#include "config/calibration_paths.h"
#include "config/config_record.h"
#include "config/config_report.h"
#include "config/config_saving.h"
#include "config/interface_codes.h"
#include "control/process_end.h"
#include "control/update_parameters.h"
#include "control/wifi.h"
#include "core/lanes.h"
#include "core/log.h"
#include "core/shell.h"
#include "core/statistics.h"
#include "core/status_block.h"
#include "core/text.h"
#include "core/threads.h"
#include "core/word_table.h"

#include <array>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <unistd.h>
#include <utility>

namespace fieldrelaybox {

namespace {

constexpr int restart_status = 3; // the start script starts the daemon again
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

// The interfaces that are being scanned. The answer goes to every app, and so serves whoever asks
// meanwhile.
std::mutex scans_mutex; // short, guards scans
std::set<std::string> scans;

bool begin_scan(const std::string& name) {
    const std::lock_guard lock(scans_mutex);
    return scans.insert(name).second;
}

void end_scan(const std::string& name) {
    const std::lock_guard lock(scans_mutex);
    scans.erase(name);
}

void answer_scan(const std::string& name, const std::string& code) {
    const std::string head = R"({"cmd":"wlanscan","param":")" + code + R"(","value":")";
    const std::string tail = R"("})";
    std::string results;
    run_guarded("scan", [&] {
        results = scan_networks(name, longest_scan_reply - head.size() - tail.size());
    });
    log_line("scan results: %s", results.c_str());
    end_scan(name); // before the answer, which who asks from now on may miss
    post_text(head + results + tail);
}

void scan_wifi(const AppRequest& request) {
    const std::string& code = request.values[0];
    const auto interface_name = interface_of_code(code);
    if (request.param != "scan" || !interface_name || interface_name->empty())
        return;
    const std::string name(*interface_name);
    if (!begin_scan(name)) {
        count(statistics().commands_merged);
        return;
    }
    log_line("scan Wi-Fi on %s", name.c_str());
    add_job("scan " + name, {"", [name, code] { answer_scan(name, code); }});
}

// What ends the box waits until everything that was asked for before it is saved.
void run_when_saved(const char* lane, std::function<void(SaveTicket)> body) {
    add_job(lane, {lane, [body = std::move(body), ticket = last_save_request()] { body(ticket); }});
}

void reboot_box(const AppRequest& /*request*/) {
    run_when_saved("reboot", [](SaveTicket ticket) {
        await_save(ticket, save_patience_ms);
        run_shell_command("reboot");
    });
}

void restart_daemon(const AppRequest& /*request*/) {
    run_when_saved("restart", [](SaveTicket ticket) { end_process(restart_status, ticket); });
}

void shut_down_box(const AppRequest& /*request*/) {
    run_when_saved("shutdown", [](SaveTicket ticket) {
        await_save(ticket, save_patience_ms);
        run_shell_command("shutdown");
    });
}

void tell(const Failure& failure) {
    if (!failure.empty())
        log_error("%s", failure.c_str());
}

// One that has not reached the boot partition would come back.
void remove_waiting_calibration() {
    unlink(fresh_calibration_path);
    unlink(waiting_calibration_path);
}

// The RC input process calibrates anew when it starts without its calibration file.
void recalibrate_rc_input() {
    run_between_saves("recalibrate", [] {
        const BootTurn turn = take_boot_turn();
        tell(make_writable("/boot"));
        // A link to the boot partition of newer systems: whoever makes it again is not to find the
        // old one.
        tell(remove_link_target(calibration_path));
        run_shell_command("rm -f /boot/rcin.cal", boot_command_time_limit_ms);
        tell(mount_anew("/boot"));
        remove_waiting_calibration();
        start_settings_command("killall -q rcin");
    });
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

void dispatch_app_command(const char* text, std::size_t length, const sockaddr_in& sender) {
    count(statistics().commands_taken);
    const std::optional<AppRequest> request = parse_app_request(text, length, sender);
    const AppCommand* found = request ? find_word(commands, request->command) : nullptr;
    if (found != nullptr)
        found->handle(*request);
    else
        count(statistics().commands_unknown);
}

} // namespace fieldrelaybox
