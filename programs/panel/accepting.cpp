// From the listening socket to connections of the library.
#include "core/clock.h"
#include "core/log.h"
#include "panel/times.h"
#include "panel/web_server.h"

#include <cerrno>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

namespace panel {
namespace {

constexpr int most_at_once = 64;
// Small, so that a slow reader shows early and pictures are left out for it in time.
constexpr int send_buffer_size = 256 * 1024;

void set_up(int socket) {
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &send_buffer_size, sizeof send_buffer_size);
}

void tell_no_room(const Address& address) {
    static fieldrelaybox::LogLimit limit;
    fieldrelaybox::log_limited_warning(limit, fieldrelaybox::timer_clock(),
                                       "web: no room for one more connection of %s",
                                       text_of(address).c_str());
}

void adopt(WebServer& server, int socket, const Address& address, Admission admission) {
    Connection& connection = add_connection(server.connections, socket, address, now_us());
    connection.is_turned_away = admission == Admission::turned_away;
    const std::uint64_t id = connection.id;
    lws_adopt_desc_t description{};
    description.vh = server.vhost;
    description.type =
        static_cast<lws_adoption_type>(LWS_ADOPT_SOCKET | LWS_ADOPT_HTTP | LWS_ADOPT_ALLOW_SSL);
    description.fd.sockfd = socket;
    description.opaque = &connection;
    lws* const wsi = lws_adopt_descriptor_vhost_via_info(&description);
    if (wsi == nullptr)
        remove_connection(server.connections, id); // the library closed the socket
    else
        connection.wsi = wsi;
}

// False when nobody waits any more.
bool accept_one(WebServer& server) {
    sockaddr_storage from{};
    socklen_t size = sizeof from;
    const int socket = accept4(server.listener.socket, reinterpret_cast<sockaddr*>(&from), &size,
                               SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (socket < 0)
        return errno == ECONNABORTED || errno == EINTR;
    const Address address = place_of(from).address;
    const Admission admission = make_room(server.connections, address);
    if (admission != Admission::served)
        tell_no_room(address);
    if (admission == Admission::refused) {
        close(socket);
        return true;
    }
    set_up(socket);
    adopt(server, socket, address, admission);
    return true;
}

} // namespace

void accept_browsers(WebServer& server) {
    for (int i = 0; i < most_at_once && accept_one(server); i++)
        ;
}

} // namespace panel
