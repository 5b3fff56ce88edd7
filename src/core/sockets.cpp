#include "core/sockets.h"

#include "core/clock.h"
#include "core/exit_status.h"
#include "core/log.h"
#include "core/statistics.h"
#include "core/text.h"

#include <arpa/inet.h>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/time.h>

namespace fieldrelaybox {

namespace {

// The forced form exceeds the system-wide limit where the daemon has the right to.
void set_buffer(int socket, int forced_option, int option, int bytes) {
    if (setsockopt(socket, SOL_SOCKET, forced_option, &bytes, sizeof bytes) != 0)
        setsockopt(socket, SOL_SOCKET, option, &bytes, sizeof bytes);
}

timeval time_of(int milliseconds) {
    return {.tv_sec = milliseconds / 1000,
            .tv_usec = static_cast<suseconds_t>(milliseconds % 1000) * 1000};
}

} // namespace

sockaddr_in ipv4_address(std::uint32_t address, std::uint16_t port) {
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    result.sin_addr.s_addr = htonl(address);
    return result;
}

Endpoint endpoint_of(const sockaddr_in& address) {
    Endpoint result{};
    inet_ntop(AF_INET, &address.sin_addr, result.address_text.data(),
              static_cast<socklen_t>(result.address_text.size()));
    result.port = ntohs(address.sin_port);
    result.address = address;
    return result;
}

bool parse_ipv4(std::string_view text, in_addr& address) {
    std::array<char, INET_ADDRSTRLEN> copy{};
    if (text.size() >= copy.size())
        return false;
    copy_text(copy.data(), copy.size(), text);
    return inet_pton(AF_INET, copy.data(), &address) == 1;
}

std::optional<sockaddr_in> parse_endpoint(std::string_view text, std::uint16_t highest_port) {
    const std::size_t colon = text.find(':');
    in_addr address{};
    if (colon == std::string_view::npos || !parse_ipv4(text.substr(0, colon), address))
        return std::nullopt;
    const std::string_view digits = text.substr(colon + 1);
    std::uint16_t port = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), port);
    const bool whole = error == std::errc{} && end == digits.data() + digits.size();
    if (!whole || port < 1 || port > highest_port)
        return std::nullopt;
    return ipv4_address(ntohl(address.s_addr), port);
}

int open_udp_socket() {
    const int result = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_UDP);
    if (result < 0) {
        log_error("the daemon ends: cannot open a socket: %s", std::strerror(errno));
        std::_Exit(exit_unable);
    }
    return result;
}

void set_socket_buffers(int socket, int receive_bytes, int send_bytes) {
    set_buffer(socket, SO_RCVBUFFORCE, SO_RCVBUF, receive_bytes);
    set_buffer(socket, SO_SNDBUFFORCE, SO_SNDBUF, send_bytes);
}

void set_socket_timeouts(int socket, int milliseconds) {
    set_receive_timeout(socket, milliseconds);
    set_send_timeout(socket, milliseconds);
}

void set_receive_timeout(int socket, int milliseconds) {
    const timeval limit = time_of(milliseconds);
    setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
}

void set_send_timeout(int socket, int milliseconds) {
    const timeval limit = time_of(milliseconds);
    setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

void pause_after_failure(const Reception& reception) {
    if (errno != EAGAIN && errno != EINTR)
        sleep_us(reception.pause_us);
}

std::optional<std::span<std::uint8_t>>
receive_from(const Reception& reception, std::span<std::uint8_t> buffer, sockaddr_in* sender) {
    socklen_t sender_size = sizeof *sender;
    const ssize_t length =
        recvfrom(reception.socket, buffer.data(), buffer.size(), 0,
                 reinterpret_cast<sockaddr*>(sender), sender != nullptr ? &sender_size : nullptr);
    if (length < 0) {
        pause_after_failure(reception);
        return std::nullopt;
    }
    count_received(reception.counts, static_cast<std::size_t>(length));
    return buffer.first(static_cast<std::size_t>(length));
}

bool bind_socket(int socket, std::uint32_t address, std::uint16_t port) {
    const sockaddr_in local = ipv4_address(address, port);
    return bind(socket, reinterpret_cast<const sockaddr*>(&local), sizeof local) == 0;
}

void await_port(int socket, std::uint32_t address, std::uint16_t port, const char* purpose,
                const std::function<void()>& before_try) {
    constexpr std::int64_t pause_between_tries_us = 1'000'000;
    bool told = false;
    for (before_try(); !bind_socket(socket, address, port); before_try()) {
        if (!told)
            log_error("cannot %s on port %d: %s; trying again until it is free", purpose, port,
                      std::strerror(errno));
        told = true;
        sleep_us(pause_between_tries_us);
    }
    if (told)
        log_line("can %s on port %d now", purpose, port);
}

} // namespace fieldrelaybox
