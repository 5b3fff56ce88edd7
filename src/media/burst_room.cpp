#include "media/burst_room.h"

#include "core/statistics.h"

#include <new>
#include <sys/mman.h>

namespace fieldrelaybox {

namespace {

constexpr std::size_t cache_line = 64;
constexpr std::size_t large_datagram = 4096; // spans more pages than video's usual ones

// Large datagrams come one after the other: the room is not given back between two of them.
constexpr unsigned receives_with_pages = 1000;

void give_back_pages(BurstRoom& room) {
    madvise(room.memory, room.memory_size, MADV_DONTNEED);
    room.receives_until_return = 0;
}

// Before a receive, when nobody has a datagram in there any more.
void give_back_in_time(BurstRoom& room) {
    if (room.receives_until_return > 0 && --room.receives_until_return == 0)
        give_back_pages(room);
}

// To look behind a datagram costs a tenth of what relaying it does, so behind evenly spaced ones
// only every eighth time. A burst begins slower by that: its first few go on one by one.
constexpr unsigned lone_until_even = 8;

bool looks_behind(const BurstRoom& room) {
    return room.slots > 1 &&
           (room.lone_datagrams < lone_until_even || room.lone_datagrams % lone_until_even == 0);
}

// Returns how many datagrams came, as recvmmsg does.
int receive(int socket, BurstRoom& room) {
    if (looks_behind(room))
        return recvmmsg(socket, room.messages.data(), room.slots, MSG_WAITFORONE, nullptr);
    const ssize_t size = recv(socket, room.places[0].iov_base, room.places[0].iov_len, 0);
    room.messages[0].msg_len = static_cast<unsigned>(size);
    return size < 0 ? -1 : 1;
}

void note_nothing_came(const Reception& reception, BurstRoom& room) {
    pause_after_failure(reception);
    if (room.receives_until_return > 0)
        give_back_pages(room);
}

} // namespace

void open_room(BurstRoom& room, std::size_t slots, std::size_t capacity) {
    const std::size_t distance =
        (header_room + capacity + cache_line - 1) / cache_line * cache_line;
    room.slots = static_cast<unsigned>(slots);
    room.memory_size = slots * distance;
    void* const memory = mmap(nullptr, room.memory_size, PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory == MAP_FAILED)
        throw std::bad_alloc();
    madvise(memory, room.memory_size, MADV_NOHUGEPAGE); // one would hold what never comes
    room.memory = static_cast<std::uint8_t*>(memory);
    for (std::size_t i = 0; i < slots; ++i) {
        room.places[i] = {room.memory + i * distance + header_room, capacity};
        room.messages[i].msg_hdr.msg_iov = &room.places[i];
        room.messages[i].msg_hdr.msg_iovlen = 1;
    }
}

Datagrams receive_burst(const Reception& reception, BurstRoom& room) {
    give_back_in_time(room);
    const int received = receive(reception.socket, room);
    if (received < 0) {
        note_nothing_came(reception, room);
        return {};
    }
    room.lone_datagrams = received == 1 ? room.lone_datagrams + 1 : 0;
    std::size_t kept = 0;
    std::size_t bytes = 0;
    bool large = false;
    for (std::size_t i = 0; i < static_cast<std::size_t>(received); ++i) {
        const std::size_t size = room.messages[i].msg_len;
        bytes += size;
        large |= size > large_datagram;
        if (size > 0)
            room.datagrams[kept++] = {room.places[i].iov_base, size};
    }
    count(reception.counts.datagrams, static_cast<std::uint64_t>(received));
    count(reception.counts.bytes, bytes);
    if (large)
        room.receives_until_return = receives_with_pages;
    return {room.datagrams.data(), kept};
}

} // namespace fieldrelaybox
