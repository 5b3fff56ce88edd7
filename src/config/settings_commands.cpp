#include "config/settings_commands.h"

#include "core/shared_access.h"
#include "core/shell.h"
#include "core/status_block.h"

#include <deque>
#include <mutex>
#include <optional>
#include <utility>

namespace fieldrelaybox {

namespace {

std::mutex queue_mutex; // short, guards queue
std::deque<SettingsCommands> queue;
std::mutex run_mutex; // held while commands run

std::optional<SettingsCommands> take_commands() {
    const std::lock_guard lock(queue_mutex);
    if (queue.empty())
        return std::nullopt;
    std::optional<SettingsCommands> next = std::move(queue.front());
    queue.pop_front();
    return next;
}

} // namespace

void queue_settings_commands(SettingsCommands commands) {
    const std::lock_guard lock(queue_mutex);
    queue.push_back(std::move(commands));
}

void run_settings_commands() {
    const std::lock_guard lock(run_mutex);
    while (const std::optional<SettingsCommands> next = take_commands()) {
        for (const std::string& command : next->texts)
            run_shell_command(command.c_str(), settings_command_time_limit_ms);
        if (next->restarts_rc_input)
            store<std::uint8_t>(status_block().rc_receiver_state, 0);
    }
}

void run_between_settings_commands(const std::function<void()>& body) {
    const std::lock_guard lock(run_mutex);
    body();
}

} // namespace fieldrelaybox
