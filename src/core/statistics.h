// What the daemon counts, in the region /fieldrelaybox_stats that other programs read. Entered by
// start-up; afterwards every thread adds to statistics(), which costs one relaxed addition each.
#pragma once

#include "fieldrelaybox/statistics.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <netinet/in.h>
#include <sys/types.h>

namespace fieldrelaybox {

// Makes the region anew (mode 0644), with room for all of it, and begins to count there from zero.
// Returns false, with errno set, when that is impossible: the daemon then counts for itself alone.
bool open_statistics();

// The record. Before open_statistics it is a private one of zeros.
Statistics& statistics();

inline void count(std::uint64_t& counter, std::uint64_t amount = 1) {
    std::atomic_ref(counter).fetch_add(amount, std::memory_order_relaxed);
}

// One datagram of this many bytes.
inline void count_received(InputCount& input, std::size_t bytes) {
    count(input.datagrams);
    count(input.bytes, bytes);
}

// One datagram that could not be sent; errno tells why.
void count_unsent(OutputCount& output);

// So many datagrams of so many bytes together.
inline void count_sent(OutputCount& output, std::size_t datagrams, std::size_t bytes) {
    count(output.datagrams, datagrams);
    count(output.bytes, bytes);
}

// One datagram of which a send call returned this.
inline void count_sent(OutputCount& output, ssize_t result) {
    if (result < 0)
        return count_unsent(output);
    count_sent(output, 1, static_cast<std::size_t>(result));
}

// The place now belongs to the peer at address: it goes on counting for the one it had before, and
// starts at zero for any other.
void take_place(PeerCount& peer, const sockaddr_in& address);

// The place's peer is gone; its counts stay until another one takes the place.
void leave_place(PeerCount& peer);

} // namespace fieldrelaybox
