#include "core/segments.h"

#include "core/sockets.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <netinet/udp.h>
#include <string_view>
#include <unistd.h>

namespace fieldrelaybox {

namespace {

constexpr std::size_t largest_message = 65'507; // bytes of all segments together
constexpr std::int64_t refusal_ms = 10'000;

bool is_switched_off() {
    const char* const text = std::getenv("FIELDRELAYBOX_SEGMENTS");
    return text != nullptr && std::string_view(text) == "off";
}

bool does_kernel_cut() {
    const int socket = open_udp_socket();
    int size = 0;
    socklen_t length = sizeof size;
    const bool does = getsockopt(socket, IPPROTO_UDP, UDP_SEGMENT, &size, &length) == 0;
    close(socket);
    return does;
}

} // namespace

bool can_send_segments() {
    static const bool can = !is_switched_off() && does_kernel_cut();
    return can;
}

Datagrams first_run(Datagrams datagrams) {
    const std::size_t size = datagrams.front().iov_len;
    std::size_t room = largest_message - size - header_room;
    std::size_t count = 1;
    for (bool ended = false; !ended && count < datagrams.size() && count < run_limit; ++count) {
        const std::size_t next = datagrams[count].iov_len;
        if (next > size || next + header_room > room)
            break;
        room -= next + header_room;
        ended = next < size;
    }
    return datagrams.first(count);
}

void set_segments(msghdr& message, Datagrams run, SegmentControl& control) {
    const auto size = static_cast<std::uint16_t>(run.front().iov_len);
    message.msg_iov = const_cast<iovec*>(run.data());
    message.msg_iovlen = run.size();
    message.msg_control = control.bytes.data();
    message.msg_controllen = control.bytes.size();
    cmsghdr* const cut = CMSG_FIRSTHDR(&message);
    cut->cmsg_level = IPPROTO_UDP;
    cut->cmsg_type = UDP_SEGMENT;
    cut->cmsg_len = CMSG_LEN(sizeof size);
    std::memcpy(CMSG_DATA(cut), &size, sizeof size);
}

std::size_t send_segments(int socket, Datagrams run, const sockaddr_in& address) {
    SegmentControl control{};
    msghdr message{};
    message.msg_name = const_cast<sockaddr_in*>(&address);
    message.msg_namelen = sizeof address;
    set_segments(message, run, control);
    const ssize_t sent = sendmsg(socket, &message, MSG_DONTWAIT);
    return sent > 0 ? static_cast<std::size_t>(sent) : 0;
}

void note_refusal(SegmentRefusal& refusal) {
    if (errno == EMSGSIZE || errno == EINVAL || errno == EIO)
        refusal.until_ms.store(timer_clock() + refusal_ms, std::memory_order_relaxed);
}

} // namespace fieldrelaybox
