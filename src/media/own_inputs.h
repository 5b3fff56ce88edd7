// Where the box itself receives: what is sent there as media would come back for ever, or be taken
// for commands.
#pragma once

#include <netinet/in.h>

namespace fieldrelaybox {

// Whether the port is one that the daemon listens at, whoever has the address.
bool is_own_port(const sockaddr_in& address);

// Whether the address is the box's own now: loopback, an interface's, one that reaches every
// interface (0.0.0.0), or a broadcast one. Asks the system.
bool is_own_address(in_addr address);

} // namespace fieldrelaybox
