// The two processes that are measured, seen from outside.
#pragma once

#include <cstdint>
#include <sys/types.h>

namespace bench {

struct MeasuredRelay {
    std::uint16_t port; // where it takes datagrams
    pid_t process;
    pid_t thread; // the one that relays
};

// The thread of this name, awaited for some seconds; gives up when there is none.
pid_t find_thread(pid_t process, const char* name);

// The processor time that the relaying thread has had, in nanoseconds.
std::int64_t cpu_time_ns(const MeasuredRelay& relay);

// Datagrams that the kernel dropped because the buffer of the socket on this port was full.
std::uint64_t drops_at_port(std::uint16_t port);

} // namespace bench
