// The yardsticks: processes that receive datagrams and send them on and do nothing else, with one
// sendto per copy, or with one message of segments per destination for what came together. Their
// sockets are set up like the daemon's and their copies are of equal size.
#pragma once

#include "measured_relay.h"
#include "scenario.h"

#include <span>

namespace bench {

// Both return the relay; the process ends with the caller.
MeasuredRelay start_bare_relay(std::span<const Destination> destinations);

// Knows neither UDP clients nor datagrams of different sizes.
MeasuredRelay start_segment_relay(std::span<const Destination> destinations);

} // namespace bench
