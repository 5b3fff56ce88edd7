// The daemon's arguments. Whatever they ask is answered without starting anything: no shared
// memory, no port, no command.
#pragma once

#include <optional>
#include <span>

namespace fieldrelaybox {

// arguments: without the program's name. Returns the status to end with once they are answered, on
// standard output, or refused, on standard error; nothing when the daemon is to be started.
std::optional<int> answer_arguments(std::span<const char* const> arguments);

} // namespace fieldrelaybox
