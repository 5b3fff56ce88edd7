#include "control/test_datagram.h"

#include "camera/link/camera_link.h"
#include "core/log.h"
#include "core/log_senders.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace fieldrelaybox {

namespace {

constexpr std::size_t fewest_bytes = 2;
constexpr std::size_t most_bytes = 1023;

} // namespace

std::vector<std::uint8_t> parse_hex_list(std::string_view list) {
    std::vector<std::uint8_t> bytes;
    std::size_t comma = 0;
    do {
        comma = list.find(',');
        const std::string_view item = list.substr(0, comma);
        const std::string number(item.substr(0, item.find(':')));
        const unsigned long long value = std::strtoull(number.c_str(), nullptr, 16);
        bytes.push_back(static_cast<std::uint8_t>(value & 0xFF));
        list.remove_prefix(std::min(list.size(), item.size() + 1));
    } while (comma != std::string_view::npos);
    return bytes;
}

void handle_test_datagram(Bytes datagram) {
    const std::string text(
        reinterpret_cast<const char*>(datagram.data()),
        strnlen(reinterpret_cast<const char*>(datagram.data()), datagram.size()));
    set_log_kind(LogKind::test_datagram);
    log_line("test command %s", text.c_str());
    std::vector<std::uint8_t> bytes = parse_hex_list(std::string_view(text).substr(1));
    std::string printed;
    for (const std::uint8_t byte : bytes) {
        std::array<char, 4> item{};
        std::snprintf(item.data(), item.size(), "%.2x ", byte);
        printed += item.data();
    }
    print_line("%s", printed.c_str());
    if (bytes.size() >= fewest_bytes && bytes.size() <= most_bytes)
        send_camera_frame_if_connected(bytes);
}

} // namespace fieldrelaybox
