// How a user names a box: HOST[:PORT].
#pragma once

#include <cstdint>
#include <netinet/in.h>
#include <optional>
#include <string>
#include <string_view>

namespace panel {

inline constexpr std::uint16_t box_port = 4242;

struct BoxName {
    std::string host;
    std::uint16_t port = box_port;
    std::optional<in_addr> address; // when host is one; network order
};

// Nothing for what is neither a name nor the dotted address of one computer.
std::optional<BoxName> parse_box_name(std::string_view text);

} // namespace panel
