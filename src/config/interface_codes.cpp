#include "config/interface_codes.h"

#include <algorithm>
#include <array>

namespace fieldrelaybox {

namespace {

// The code is the index.
constexpr std::array<std::string_view, 3> names{"", "wifi0", "wlan0"};

} // namespace

std::optional<std::string_view> interface_of_code(std::string_view code) {
    if (code.size() != 1 || code[0] < '0' || code[0] >= '0' + static_cast<char>(names.size()))
        return std::nullopt;
    return names[static_cast<std::size_t>(code[0] - '0')];
}

int code_of_interface(std::string_view name) {
    const auto* found = std::find(names.begin(), names.end(), name);
    return found == names.end() ? 0 : static_cast<int>(found - names.begin());
}

} // namespace fieldrelaybox
