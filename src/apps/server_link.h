// The sending half of the link to the remote relay server, which carries the app protocol from
// afar: its address, the authentication, and every message to an app behind it.
#pragma once

#include "core/bytes.h"
#include "core/sockets.h"

#include <cstdint>
#include <sys/types.h>

namespace fieldrelaybox {

// Opens the socket, from which the server's answers are received. Returns it.
int open_server_link();

// Authenticates or keeps the session alive; called on every supervisor pass. Nothing while the
// server connection is off.
void server_keepalive();

// The server's answer to the authentication: 0 is none. Only the server of the settings may give an
// id, not one of before that answers late. Returns whether it counts.
bool take_server_client_id(std::uint32_t id, const sockaddr_in& sender);

// Sends header and payload as one datagram to the server. Returns the result of the send, or -1
// without sending when host or port cannot be sent to. Never waits: what the system cannot queue
// now is lost, as it may be on its way.
ssize_t send_through_server(Bytes header, Bytes payload);

// True when this is the server of the settings; nobody is while they name none that can be sent to.
bool is_server_endpoint(const sockaddr_in& address);

// To be called before and after server settings change. In between nothing is sent to the server,
// so that what was set for one never goes to another; afterwards the address is made anew. Whoever
// keeps what is_server_endpoint said has to ask again.
void server_settings_changing();
void server_settings_changed();

} // namespace fieldrelaybox
