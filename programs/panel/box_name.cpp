#include "panel/box_name.h"

#include "core/sockets.h"
#include "core/text.h"

#include <algorithm>
#include <charconv>
#include <cstddef>

namespace panel {
namespace {

constexpr std::size_t longest_host = 253;

// 0 for what is no port.
std::uint16_t parse_port(std::string_view text) {
    std::uint16_t port = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, port);
    return error == std::errc{} && rest == end ? port : std::uint16_t{0};
}

bool is_of_one_computer(in_addr address) {
    const in_addr_t number = ntohl(address.s_addr);
    return number != INADDR_ANY && number != INADDR_BROADCAST && !IN_MULTICAST(number);
}

} // namespace

std::optional<BoxName> parse_box_name(std::string_view text) {
    const std::size_t colon = std::min(text.find(':'), text.size());
    BoxName name{.host = std::string(text.substr(0, colon)), .address = {}};
    if (colon < text.size())
        name.port = parse_port(text.substr(colon + 1));
    if (name.port == 0)
        return std::nullopt;
    in_addr address{};
    if (fieldrelaybox::parse_ipv4(name.host, address)) {
        name.address = address;
        return is_of_one_computer(address) ? std::optional(name) : std::nullopt;
    }
    const bool is_name =
        name.host.size() <= longest_host && fieldrelaybox::is_shell_safe_name(name.host);
    return is_name ? std::optional(name) : std::nullopt;
}

} // namespace panel
