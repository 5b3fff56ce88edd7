// The numbers by which the apps name the box's Wi-Fi interfaces.
#pragma once

#include <optional>
#include <string_view>

namespace fieldrelaybox {

// "0" is no interface (an empty name), "1" is "wifi0", "2" is "wlan0"; nothing for any other code.
std::optional<std::string_view> interface_of_code(std::string_view code);

// 1 for "wifi0", 2 for "wlan0", 0 for any other name.
int code_of_interface(std::string_view name);

} // namespace fieldrelaybox
