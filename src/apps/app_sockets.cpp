#include "apps/app_sockets.h"

#include "core/log.h"
#include "core/sockets.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <linux/filter.h>
#include <sys/socket.h>
#include <unistd.h>

namespace fieldrelaybox {

namespace {

constexpr int send_buffer_bytes = 1'000'000; // of each; a second of video, and more for nobody
constexpr int receive_buffer_bytes = 0;      // the kernel raises it to its minimum

std::array<int, spare_app_socket + 1> sockets = [] {
    std::array<int, spare_app_socket + 1> none{};
    none.fill(-1);
    return none;
}();

bool set_reuse(int socket, int value) {
    return setsockopt(socket, SOL_SOCKET, SO_REUSEPORT, &value, sizeof value) == 0;
}

bool open_socket(int& socket, std::uint16_t port) {
    socket = open_udp_socket();
    set_socket_buffers(socket, receive_buffer_bytes, send_buffer_bytes);
    return set_reuse(socket, socket != sockets[0]) && bind_socket(socket, INADDR_ANY, port);
}

// The first one comes without asking to share, which fails when somebody has the port.
bool open_all(std::uint16_t port) {
    for (int& socket : sockets) {
        if (!open_socket(socket, port))
            return false;
        set_reuse(socket, 1);
    }
    return true;
}

void close_all() {
    for (int& socket : sockets) {
        close(socket);
        socket = -1;
    }
}

// Without it the kernel would share out what arrives among all sockets at the port. They are
// numbered as they came: the receiving one came last.
bool leave_reception_to_last(int socket) {
    std::array<sock_filter, 1> always_last{{BPF_STMT(BPF_RET | BPF_K, sockets.size())}};
    const sock_fprog program{.len = always_last.size(), .filter = always_last.data()};
    return setsockopt(socket, SOL_SOCKET, SO_ATTACH_REUSEPORT_CBPF, &program, sizeof program) == 0;
}

} // namespace

bool bind_app_sockets(int shared_socket, std::uint16_t port) {
    const bool opened = open_all(port) && set_reuse(shared_socket, 1);
    bool bound = opened && bind_socket(shared_socket, INADDR_ANY, port);
    if (!bound || !leave_reception_to_last(shared_socket)) {
        const int error = errno;
        close_all();
        bound = bound || bind_socket(shared_socket, INADDR_ANY, port);
        if (bound)
            log_warning("a slow app can hold up the others: %s", std::strerror(error));
    }
    // The kernel asks the socket that came last whether one more may share the port.
    set_reuse(shared_socket, 0);
    return bound;
}

int app_socket(std::size_t place) {
    return sockets[place];
}

} // namespace fieldrelaybox
