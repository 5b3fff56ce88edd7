// The yardstick: a process that receives a datagram and sends it on with one sendto per copy, and
// does nothing else. Its sockets are set up like the daemon's and its copies are of equal size.
#pragma once

#include "scenario.h"

#include <span>
#include <sys/types.h>

namespace bench {

inline constexpr std::uint16_t bare_relay_port = 5100;

// Returns the process id. The process ends with the caller.
pid_t start_bare_relay(std::span<const Destination> destinations);

} // namespace bench
