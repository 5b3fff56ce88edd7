#include "control/app_commands.h"

#include "apps/app_request.h"
#include "apps/messages.h"
#include "config/config_record.h"
#include "config/config_report.h"
#include "config/config_saving.h"
#include "config/interface_codes.h"
#include "control/update_parameters.h"
#include "control/wifi.h"
#include "core/log.h"
#include "core/shell.h"
#include "core/status_block.h"

#include <algorithm>
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

void switch_camera(const AppRequest& request) {
    if (request.param == "enable" || request.param == "disable")
        set_camera_disabled(request.param == "disable");
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

struct AppCommand {
    std::string_view word;
    void (*handle)(const AppRequest& request);
};

constexpr std::array<AppCommand, 8> commands{{
    {"configrequest", report_configuration},
    {"camera", switch_camera},
    {"wlan", scan_wifi},
    {"reboot", reboot_box},
    {"restart", restart_daemon},
    {"shutdown", shut_down_box},
    {"rc", control_rc_input},
    {"updateparam", update_parameter},
}};

} // namespace

void dispatch_app_command(const char* text, std::size_t length) {
    const std::optional<AppRequest> request = parse_app_request(text, length);
    if (!request)
        return;
    const auto* found =
        std::find_if(commands.begin(), commands.end(),
                     [&](const AppCommand& command) { return command.word == request->command; });
    if (found != commands.end())
        found->handle(*request);
}

} // namespace fieldrelaybox
