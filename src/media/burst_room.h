// The room into which a thread receives datagrams that came together, with one system call.
#pragma once

#include "core/segments.h"
#include "core/sockets.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace fieldrelaybox {

struct BurstRoom {
    std::uint8_t* memory = nullptr;
    std::size_t memory_size = 0;
    unsigned slots = 0;
    std::array<iovec, run_limit> places{};     // one for a datagram of each slot
    std::array<mmsghdr, run_limit> messages{}; // as the system call wants them
    std::array<iovec, run_limit> datagrams{};  // what came last
    unsigned receives_until_return = 0;        // of the pages that large datagrams took
    unsigned lone_datagrams = 0;               // in a row
};

// A room for so many datagrams (1..run_limit) of so many bytes at most, which never ends. It takes
// no memory before something comes. Throws bad_alloc when the system has no place for it.
void open_room(BurstRoom& room, std::size_t slots, std::size_t capacity);

// Waits for one datagram and takes those that are there behind it, which it looks for more seldom
// while they come alone. Counts all, leaves out empty ones. None when nothing came in time, and
// after a failure and its pause. Valid until the next call.
Datagrams receive_burst(const Reception& reception, BurstRoom& room);

} // namespace fieldrelaybox
