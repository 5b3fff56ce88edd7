// Several datagrams to one destination in one message, which the kernel cuts into them: a fraction
// of what a message for each costs. Entered by the relay for the bursts that video comes in.
#pragma once

#include "core/bytes.h"
#include "core/clock.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <netinet/in.h>
#include <span>
#include <sys/socket.h>
#include <sys/types.h>
#include <sys/uio.h>

namespace fieldrelaybox {

// Datagrams in the order of their arrival. Each has header_room bytes right before it, which
// whoever passes it on may write a header into.
using Datagrams = std::span<const iovec>;

inline constexpr std::size_t header_room = 12;
inline constexpr std::size_t run_limit = 64; // the most segments that every kernel takes

inline Bytes bytes_of(const iovec& datagram) {
    return {static_cast<const std::uint8_t*>(datagram.iov_base), datagram.iov_len};
}

// Whether the kernel cuts messages, and the environment does not say FIELDRELAYBOX_SEGMENTS=off.
// Asked once: a kernel that does not know of it would send the message as one huge datagram.
bool can_send_segments();

// The first of the datagrams that may go as one message, headers included; one at least. Only the
// last of a run may be shorter, since the kernel cuts at equal distances. datagrams is not empty.
Datagrams first_run(Datagrams datagrams);

// Tells the kernel where to cut; the message must not outlive it.
struct SegmentControl {
    alignas(cmsghdr) std::array<std::uint8_t, CMSG_SPACE(sizeof(std::uint16_t))> bytes;
};

// Makes message one of run, a run of two or more, cut into its datagrams.
void set_segments(msghdr& message, Datagrams run, SegmentControl& control);

// Sends run, one of two or more, as one message, without ever waiting. Returns its bytes, or 0,
// with errno set, when nothing was sent.
std::size_t send_segments(int socket, Datagrams run, const sockaddr_in& address);

// Remembers that the way to a destination refuses segments: those above its MTU, where a single
// datagram is fragmented, or all, for want of check sums in hardware.
struct SegmentRefusal {
    std::atomic<std::int64_t> until_ms{0}; // timer clock
};

// After a message of segments that could not be sent, by errno. For 10 s only: by then the
// destination may be reached another way, and to ask once more costs one call.
void note_refusal(SegmentRefusal& refusal);

inline bool refuses_segments(const SegmentRefusal& refusal) {
    const std::int64_t until_ms = refusal.until_ms.load(std::memory_order_relaxed);
    return until_ms != 0 && timer_clock() < until_ms;
}

} // namespace fieldrelaybox
