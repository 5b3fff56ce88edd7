#include "udp.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <sys/socket.h>

namespace bench {

void give_up(const char* what) {
    std::perror(what);
    std::exit(2);
}

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

int open_socket(std::uint16_t port) {
    const int result = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_UDP);
    if (result < 0)
        give_up("socket");
    const sockaddr_in address = loopback(port);
    if (port != 0 && bind(result, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        give_up("bind");
    return result;
}

void set_buffers(int socket, int bytes) {
    if (setsockopt(socket, SOL_SOCKET, SO_RCVBUFFORCE, &bytes, sizeof bytes) != 0)
        setsockopt(socket, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
    if (setsockopt(socket, SOL_SOCKET, SO_SNDBUFFORCE, &bytes, sizeof bytes) != 0)
        setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &bytes, sizeof bytes);
}

void send_to(int socket, const void* bytes, std::size_t size, const sockaddr_in& address) {
    sendto(socket, bytes, size, 0, reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

std::int64_t clock_ns(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

} // namespace bench
