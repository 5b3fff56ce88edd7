// The password within what a browser or a program sends to log in.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace panel {

// Of {"password":"..."}; none when it is something else.
std::optional<std::string> password_in(std::string_view json);

// Of the header's value "Basic BASE64(USER:PASSWORD)"; none when it is something else.
std::optional<std::string> password_of(std::string_view authorization);

} // namespace panel
