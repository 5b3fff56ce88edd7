// Test datagrams: "[" and a list of hexadecimal bytes, sent to the camera as a frame.
#pragma once

#include "core/bytes.h"

#include <string_view>
#include <vector>

namespace fieldrelaybox {

// The bytes of a comma-separated list, each item hexadecimal up to an optional ":"; an item without
// digits, at the end of the list too, is 0.
std::vector<std::uint8_t> parse_hex_list(std::string_view list);

// Logs the text, prints the bytes, and sends them to the camera when it is connected and there are
// 2 to 1023 of them.
void handle_test_datagram(Bytes datagram);

} // namespace fieldrelaybox
