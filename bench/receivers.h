// All receivers of copies, in one thread. It looks into the sockets every few milliseconds instead
// of being woken by each copy, so that the relay under test never pays for waking it; times of
// arrival are the kernel's.
#pragma once

#include "scenario.h"

#include <cstdint>
#include <span>
#include <vector>

namespace bench {

// What arrived in one segment, of all destinations.
struct Arrivals {
    std::uint64_t copies = 0;    // right ones
    std::uint64_t damaged = 0;   // content or app header wrong
    std::uint64_t misplaced = 0; // not in the order of sending, or twice
    // Of each datagram, from its sending to its first and its last copy; 0: none came.
    std::vector<std::int64_t> first_ns{};
    std::vector<std::int64_t> last_ns{};
};

// Binds the ports of the open destinations and starts the thread, which also keeps the apps
// registered at 127.0.0.1:4242. Called once.
void start_receivers(std::span<const Destination> destinations);

// Copies of other segments than this one of so many datagrams count as damaged from now on.
void expect_segment(std::uint32_t segment, std::uint32_t datagrams);

// Waits until every open destination has had this many datagrams, or until nothing has come for
// some time.
Arrivals await_arrivals(std::uint32_t datagrams);

// Copies that found the buffer of a receiver full: a fault of the measurement.
std::uint64_t receiver_drops();

} // namespace bench
