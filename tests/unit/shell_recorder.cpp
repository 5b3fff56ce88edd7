#include "unit/shell_recorder.h"

#include "core/shell.h"

#include <mutex>
#include <sstream>
#include <utility>

namespace shell_recorder {

std::map<std::string, std::string> outputs;
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
    return run_shell_command(command, 0);
}

int run_shell_command(const char* command, int /*time_limit_ms*/, Complaints /*complaints*/) {
    shell_recorder::record(command);
    return 0;
}

int query_shell_command(const char* command, std::size_t line_limit, int /*time_limit_ms*/,
                        const std::function<void(std::string_view)>& on_line) {
    shell_recorder::record(command);
    const auto output = shell_recorder::outputs.find(command);
    if (output == shell_recorder::outputs.end())
        return 0;
    std::istringstream lines(output->second);
    for (std::string line; std::getline(lines, line);)
        on_line((line + (lines.eof() ? "" : "\n")).substr(0, line_limit));
    return 0;
}

} // namespace fieldrelaybox
