#include "panel/listening.h"

#include "core/log.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <optional>
#include <string_view>
#include <unistd.h>

namespace panel {
namespace {

using fieldrelaybox::log_error;

constexpr int first_handed_over = 3;
constexpr int backlog = 128;
constexpr Address mapped_prefix{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};

bool is_mapped(const Address& address) {
    return std::equal(mapped_prefix.begin(), mapped_prefix.begin() + 12, address.begin());
}

// A variable of the environment as a number; -1 when it is none.
long number_from_environment(const char* name) {
    const char* const text = std::getenv(name);
    return text == nullptr || *text == '\0' ? -1 : std::strtol(text, nullptr, 10);
}

bool is_listening_stream(int socket) {
    int value = 0;
    socklen_t size = sizeof value;
    return getsockopt(socket, SOL_SOCKET, SO_ACCEPTCONN, &value, &size) == 0 && value == 1;
}

// How many sockets were handed over to this process; children are not to take them for theirs.
long handed_over_count() {
    const bool for_us = number_from_environment("LISTEN_PID") == getpid();
    const long count = for_us ? number_from_environment("LISTEN_FDS") : 0;
    for (const char* name : {"LISTEN_PID", "LISTEN_FDS", "LISTEN_FDNAMES"})
        unsetenv(name);
    return std::max(0L, count);
}

struct ListenPlace {
    sockaddr_storage address{};
    socklen_t size = 0;
};

std::optional<ListenPlace> parse_place(std::string_view text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string_view::npos)
        return std::nullopt;
    const std::string_view digits = text.substr(colon + 1);
    std::uint16_t port = 0;
    const auto [end, fault] = std::from_chars(digits.data(), digits.data() + digits.size(), port);
    if (digits.empty() || fault != std::errc{} || end != digits.data() + digits.size())
        return std::nullopt;
    std::string host(text.substr(0, colon));
    ListenPlace place;
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
        sockaddr_in6 address{};
        address.sin6_family = AF_INET6;
        address.sin6_port = htons(port);
        if (inet_pton(AF_INET6, host.substr(1, host.size() - 2).c_str(), &address.sin6_addr) != 1)
            return std::nullopt;
        std::memcpy(&place.address, &address, place.size = sizeof address);
        return place;
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    if (inet_pton(AF_INET, host.c_str(), &address.sin_addr) != 1)
        return std::nullopt;
    std::memcpy(&place.address, &address, place.size = sizeof address);
    return place;
}

bool bind_and_listen(int socket, const ListenPlace& place) {
    const int on = 1;
    const int off = 0;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (place.address.ss_family == AF_INET6) // "[::]" is for IPv4 as well
        setsockopt(socket, IPPROTO_IPV6, IPV6_V6ONLY, &off, sizeof off);
    return bind(socket, reinterpret_cast<const sockaddr*>(&place.address), place.size) == 0 &&
           listen(socket, backlog) == 0;
}

int open_at(const std::string& text) {
    const std::optional<ListenPlace> place = parse_place(text);
    if (!place) {
        log_error("%s is no ADDRESS:PORT to listen at", text.c_str());
        return -1;
    }
    const int socket = ::socket(place->address.ss_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (socket >= 0 && bind_and_listen(socket, *place))
        return socket;
    log_error("cannot listen at %s: %s", text.c_str(), std::strerror(errno));
    if (socket >= 0)
        close(socket);
    return -1;
}

int take_handed_over(long count) {
    if (count == 1 && is_listening_stream(first_handed_over)) {
        fcntl(first_handed_over, F_SETFD, FD_CLOEXEC);
        return first_handed_over;
    }
    log_error("%ld sockets were handed over; one that listens for streams is needed", count);
    return -1;
}

} // namespace

NetworkPlace place_of(const sockaddr_storage& address) {
    NetworkPlace place{.address = mapped_prefix, .port = 0};
    if (address.ss_family == AF_INET) {
        sockaddr_in ipv4{};
        std::memcpy(&ipv4, &address, sizeof ipv4);
        std::memcpy(place.address.data() + 12, &ipv4.sin_addr, 4);
        place.port = ntohs(ipv4.sin_port);
    } else if (address.ss_family == AF_INET6) {
        sockaddr_in6 ipv6{};
        std::memcpy(&ipv6, &address, sizeof ipv6);
        std::memcpy(place.address.data(), &ipv6.sin6_addr, place.address.size());
        place.port = ntohs(ipv6.sin6_port);
    }
    return place;
}

bool is_loopback(const Address& address) {
    Address ipv6_loopback{};
    ipv6_loopback.back() = 1;
    return address == ipv6_loopback || (is_mapped(address) && address[12] == 127);
}

std::string text_of(const Address& address) {
    std::array<char, INET6_ADDRSTRLEN> text{};
    if (is_mapped(address))
        inet_ntop(AF_INET, address.data() + 12, text.data(), text.size());
    else
        inet_ntop(AF_INET6, address.data(), text.data(), text.size());
    return text.data();
}

Address network_of(const Address& address) {
    Address network = address;
    if (!is_mapped(address))
        std::fill(network.begin() + 8, network.end(), std::uint8_t{0});
    return network;
}

Listener open_listener(const std::string& place) {
    Listener listener;
    const long count = handed_over_count();
    listener.handed_over = count > 0;
    listener.socket = count > 0 ? take_handed_over(count) : open_at(place);
    if (listener.socket < 0)
        return listener;
    fcntl(listener.socket, F_SETFL, fcntl(listener.socket, F_GETFL) | O_NONBLOCK);
    sockaddr_storage own{};
    socklen_t size = sizeof own;
    getsockname(listener.socket, reinterpret_cast<sockaddr*>(&own), &size);
    listener.place = place_of(own);
    return listener;
}

} // namespace panel
