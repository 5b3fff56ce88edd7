// The socket that browsers come to: opened here, or opened before and handed over.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <sys/socket.h>

namespace panel {

// An IPv4 or IPv6 address; IPv4 in its mapped form, so that one kind of comparison is enough.
using Address = std::array<std::uint8_t, 16>;

struct NetworkPlace {
    Address address{};
    std::uint16_t port = 0;
};

NetworkPlace place_of(const sockaddr_storage& address);
bool is_loopback(const Address& address);
std::string text_of(const Address& address);

// For limits: an IPv6 neighbour has a whole /64 to come from.
Address network_of(const Address& address);

struct Listener {
    int socket = -1; // not blocking
    NetworkPlace place;
    bool handed_over = false;
};

// A socket that the service manager handed over (LISTEN_FDS) or, without one, a fresh one at
// "ADDRESS:PORT" or "[ADDRESS]:PORT". socket is -1, told in the log, when there is none.
Listener open_listener(const std::string& place);

} // namespace panel
