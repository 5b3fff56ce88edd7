// The shell commands that make a changed setting take effect. Each program has a lane of its own,
// so that a script that hangs holds up nothing but itself.
#pragma once

#include <string>
#include <vector>

namespace fieldrelaybox {

// For each such command: one that hangs must not hold up all later ones for ever.
inline constexpr int settings_command_time_limit_ms = 30'000;

struct SettingsCommands {
    std::vector<std::string> texts; // run one after the other, in the lane of the first's program
    std::string kind;               // what still waits of the same kind gives way to these
    bool restarts_rc_input = false; // the RC state byte is cleared after the commands
};

// Has the commands run. Never waits for one. A "&" at the end of one does not count: it is waited
// for in its lane.
void start_settings_commands(SettingsCommands commands);

// The same for a single one, of which those that wait become one.
inline void start_settings_command(const char* text) {
    start_settings_commands({.texts = {text}, .kind = text});
}

} // namespace fieldrelaybox
