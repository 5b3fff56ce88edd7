// The processes that are measured, seen from outside.
#pragma once

#include <cstdint>
#include <sys/types.h>

namespace bench {

struct MeasuredRelay {
    std::uint16_t port; // where it takes datagrams
    pid_t process;
    pid_t thread; // the one that relays
};

// Gives relaying threads the last processor, and the caller and the threads that it starts from now
// on the others: where the scheduler happens to place a thread makes more of a difference than what
// it does. On one processor nothing changes.
void keep_on_own_processor(pid_t relaying_thread);
void keep_off_relays_processor();

inline constexpr std::uint16_t daemon_port = 5000;

// Starts the daemon in the working directory, which has its configuration, and waits for its
// thread "video". With segments switched off it relays as it did before it knew of them.
MeasuredRelay start_daemon(const char* program, bool segments);

void stop_daemon(const MeasuredRelay& daemon);

// The processor time that the relaying thread has had, in nanoseconds.
std::int64_t cpu_time_ns(const MeasuredRelay& relay);

// Datagrams that the kernel dropped because the buffer of the socket on this port was full.
std::uint64_t drops_at_port(std::uint16_t port);

} // namespace bench
