// The few socket and clock chores of the benchmarks. They end the program when something fails,
// since nothing that follows would mean anything. All addresses are 127.0.0.1.
#pragma once

#include <cstdint>
#include <netinet/in.h>

namespace bench {

[[noreturn]] void give_up(const char* what);

sockaddr_in loopback(std::uint16_t port);

// A UDP socket; port 0 leaves it unbound.
int open_socket(std::uint16_t port);

void set_buffers(int socket, int bytes);

void send_to(int socket, const void* bytes, std::size_t size, const sockaddr_in& address);

// Nanoseconds of clock.
std::int64_t clock_ns(clockid_t clock);

} // namespace bench
