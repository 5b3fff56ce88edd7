#include "control/hdmi_mode.h"

#include "config/hdmi_modes.h"
#include "config/settings_commands.h"
#include "core/clock.h"
#include "core/lanes.h"
#include "core/log.h"
#include "core/shell.h"
#include "core/text.h"

#include <string>

namespace fieldrelaybox {

namespace {

constexpr std::int64_t settling_time_us = 1'000'000; // of the display, before it is drawn on

void run(const std::string& command) {
    run_shell_command(command.c_str(), settings_command_time_limit_ms);
}

void use_default_mode(bool at_boot) {
    log_line("set default HDMI mode");
    run("tvservice -p");
    if (at_boot)
        run("./scripts/hdmi-mode.sh");
}

void use_mode(HdmiGroup group, int number, bool at_boot) {
    const std::string group_name = group == HdmiGroup::dmt ? "DMT" : "CEA";
    const std::string number_text = std::to_string(number);
    log_line("set HDMI mode to %s %d", group_name.c_str(), number);
    run("tvservice -e \"" + group_name + ' ' + number_text + '"');
    // The script counts its groups from 1.
    const std::string script_group = group == HdmiGroup::dmt ? "2" : "1";
    if (at_boot)
        run("./scripts/hdmi-mode.sh " + script_group + ' ' + number_text);
}

void use(HdmiGroup group, int number, bool at_boot) {
    if (number < 1)
        use_default_mode(at_boot);
    else
        use_mode(group, number, at_boot);
    sleep_us(settling_time_us);
    run("killall -q hud");
    run("killall -q display");
}

} // namespace

void change_hdmi_mode(const AppRequest& request) {
    HdmiGroup group = HdmiGroup::cea;
    int number = 0;
    look_up_hdmi_mode(request.values[0], group, number);
    const bool at_boot = is_true(request.values[1]);
    // A boot default is not given up for a mode that is none.
    const char* const kind = at_boot ? "mode at boot" : "mode";
    add_job("tvservice", {kind, [=] { use(group, number, at_boot); }});
}

} // namespace fieldrelaybox
