// UDP sockets and IPv4 endpoints. All sockets are close-on-exec, so that a child process left
// running never holds one of the daemon's ports.
#pragma once

#include "fieldrelaybox/statistics.h"

#include <array>
#include <cstdint>
#include <functional>
#include <netinet/in.h>
#include <optional>
#include <span>
#include <string_view>

namespace fieldrelaybox {

// An IPv4 sender or receiver, as text and number, converted once.
struct Endpoint {
    std::array<char, 20> address_text; // dotted, NUL-terminated
    std::uint16_t port;                // host order
    sockaddr_in address;
};

constexpr std::uint32_t loopback_address = INADDR_LOOPBACK; // host order

// address: host order.
sockaddr_in ipv4_address(std::uint32_t address, std::uint16_t port);

// Whether address and port are the same.
inline bool is_same_address(const sockaddr_in& a, const sockaddr_in& b) {
    return a.sin_addr.s_addr == b.sin_addr.s_addr && a.sin_port == b.sin_port;
}

Endpoint endpoint_of(const sockaddr_in& address);

// Parses a dotted IPv4 address ("192.0.2.1") into network order; false for anything else.
bool parse_ipv4(std::string_view text, in_addr& address);

// Parses "192.0.2.1:5000" with a port from 1 to highest_port; nothing for anything else.
std::optional<sockaddr_in> parse_endpoint(std::string_view text, std::uint16_t highest_port);

// A blocking UDP socket. All are opened at the start: where none is to be had, the
// process ends with status 1 (logged), since a link without one would be silent for good.
int open_udp_socket();

// Asks the kernel for buffers of these sizes; it rounds and limits them.
void set_socket_buffers(int socket, int receive_bytes, int send_bytes);

// Receive and send calls give up after this time.
void set_socket_timeouts(int socket, int milliseconds);

// Receive calls give up after this time, with errno EAGAIN.
void set_receive_timeout(int socket, int milliseconds);

// Send calls give up after this time.
void set_send_timeout(int socket, int milliseconds);

// How a socket is received from.
struct Reception {
    int socket;
    InputCount& counts;
    std::int64_t pause_us; // after a failure, which would come again at once
};

// Behind a receive that brought nothing, by errno: the pause, unless no datagram came in time.
void pause_after_failure(const Reception& reception);

// Receives one datagram, which may be empty, into buffer and counts it. Nothing when none came in
// time, and after a failure and its pause. sender may be null.
std::optional<std::span<std::uint8_t>>
receive_from(const Reception& reception, std::span<std::uint8_t> buffer, sockaddr_in* sender);

// Binds to address (host order) and port; false when that fails. Several binds of a program that
// was just restarted succeed at once: UDP ports have no waiting time.
bool bind_socket(int socket, std::uint32_t address, std::uint16_t port);

// The same, but a port that another program has is tried for every second until it is had: told
// once, and once more when it is had. purpose: "receive video". Calls before_try before each try.
void await_port(int socket, std::uint32_t address, std::uint16_t port, const char* purpose,
                const std::function<void()>& before_try);

} // namespace fieldrelaybox
