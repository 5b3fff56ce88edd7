// A new password from a person or a script.
#pragma once

#include <optional>
#include <string>

namespace panel {

// One line of standard input. From a terminal it is not shown, and asked for twice. Nothing, told
// in the log, when there is none or the two differ.
std::optional<std::string> read_new_password();

} // namespace panel
