#include "config/settings_commands.h"

#include "core/lanes.h"
#include "core/shared_access.h"
#include "core/shell.h"
#include "core/status_block.h"

#include <string_view>
#include <utility>

namespace fieldrelaybox {

namespace {

// "./scripts/audio-volume.sh 55" runs audio-volume.sh.
std::string program_of(std::string_view command) {
    command = command.substr(0, command.find(' '));
    return std::string(command.substr(command.rfind('/') + 1));
}

// The lane is the background: what it does not wait for could be overtaken by the next.
std::string in_foreground(const std::string& command) {
    return command.substr(0, command.find_last_not_of(" &") + 1);
}

void run_commands(const SettingsCommands& commands) {
    for (const std::string& command : commands.texts)
        run_shell_command(in_foreground(command).c_str(), settings_command_time_limit_ms);
    if (commands.restarts_rc_input)
        store<std::uint8_t>(status_block().rc_receiver_state, 0);
}

} // namespace

void start_settings_commands(SettingsCommands commands) {
    if (commands.texts.empty())
        return;
    const std::string lane = program_of(commands.texts.front());
    const std::string kind = commands.kind;
    add_job(lane, {kind, [commands = std::move(commands)] { run_commands(commands); }});
}

} // namespace fieldrelaybox
