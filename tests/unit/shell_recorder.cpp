#include "unit/shell_recorder.h"

#include "core/shell.h"

#include <mutex>
#include <utility>

namespace shell_recorder {

std::map<std::string, std::string> outputs;
std::map<std::string, int> statuses;
std::function<void(const std::string&)> on_command;

namespace {
std::mutex mutex;
std::vector<std::string> commands;
std::vector<std::string> unlimited_commands;

void record(const char* command) {
    if (on_command)
        on_command(command);
    const std::lock_guard lock(mutex);
    commands.emplace_back(command);
}

int run(const char* command) {
    record(command);
    const auto status = statuses.find(command);
    return status == statuses.end() ? 0 : status->second;
}
} // namespace

std::vector<std::string> take_commands() {
    const std::lock_guard lock(mutex);
    return std::exchange(commands, {});
}

std::vector<std::string> take_unlimited_commands() {
    const std::lock_guard lock(mutex);
    return std::exchange(unlimited_commands, {});
}

} // namespace shell_recorder

namespace fieldrelaybox {

int run_shell_command(const char* command) {
    {
        const std::lock_guard lock(shell_recorder::mutex);
        shell_recorder::unlimited_commands.emplace_back(command);
    }
    return shell_recorder::run(command);
}

int run_shell_command(const char* command, int /*time_limit_ms*/) {
    return shell_recorder::run(command);
}

bool query_shell_command(const char* command, std::size_t line_limit, int /*time_limit_ms*/,
                         const std::function<void(std::string_view)>& on_line) {
    shell_recorder::record(command);
    const auto output = shell_recorder::outputs.find(command);
    std::string_view rest;
    if (output != shell_recorder::outputs.end())
        rest = output->second;
    while (!rest.empty()) {
        const std::string_view line = rest.substr(0, std::min(rest.find('\n') + 1, line_limit));
        on_line(line.empty() ? rest : line);
        rest.remove_prefix(line.empty() ? rest.size() : line.size());
    }
    return true;
}

} // namespace fieldrelaybox
