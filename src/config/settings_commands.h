// The shell commands that make a changed setting take effect. They run outside the lock of the
// settings, since a script may take long, but in the order in which the settings were saved.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace fieldrelaybox {

// For each such command: one that hangs must not hold up all later ones for ever. A command that
// ends in "&" is done when it has been started.
inline constexpr int settings_command_time_limit_ms = 30'000;

struct SettingsCommands {
    std::vector<std::string> texts;
    bool restarts_rc_input; // the RC state byte is cleared after the commands
};

// Puts commands behind those of earlier saves. Never waits for a command.
void queue_settings_commands(SettingsCommands commands);

// Runs what is queued. On return everything that the caller had queued has run, be it here or in
// another thread.
void run_settings_commands();

// Runs body between two such commands. Its own need the same time limit.
void run_between_settings_commands(const std::function<void()>& body);

} // namespace fieldrelaybox
