// The receiving half of the link to the remote relay server.
#pragma once

#include "core/bytes.h"

#include <netinet/in.h>

namespace fieldrelaybox {

// Opens the server socket and starts its receive thread.
void init_server_client();

// One datagram, not empty, as it arrived on the server socket: an answer of the server, or what an
// app sends through it.
void handle_server_datagram(Bytes datagram, const sockaddr_in& sender);

} // namespace fieldrelaybox
