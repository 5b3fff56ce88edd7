// Further sockets at the apps' port, which only send: one for each place in the table of apps, for
// the time when the socket that all share is full because one app's network is slow.
#pragma once

#include "apps/app_clients.h"

#include <cstddef>
#include <cstdint>

namespace fieldrelaybox {

// Behind the places of the apps: for what is not sent to one of the table.
inline constexpr std::size_t spare_app_socket = app_client_capacity;

// Binds the shared socket, which receives everything, and these to the port on all addresses; no
// other program can share it. Returns false when the port is taken. Where the system allows only
// the shared one there are no others, which is logged.
bool bind_app_sockets(int shared_socket, std::uint16_t port);

// The socket of a place, or -1.
int app_socket(std::size_t place);

} // namespace fieldrelaybox
