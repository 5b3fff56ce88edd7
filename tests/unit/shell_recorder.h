// Stands in for the shell: records what would have been run.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace shell_recorder {

// Commands in the order they were run; clear it between phases of a test.
std::vector<std::string> take_commands();

// Those of them that had no time limit, cleared apart.
std::vector<std::string> take_unlimited_commands();

// What a query prints, by command. Unset: nothing.
extern std::map<std::string, std::string> outputs;

// When set, called before each command is recorded, with its text.
extern std::function<void(const std::string&)> on_command;

} // namespace shell_recorder
