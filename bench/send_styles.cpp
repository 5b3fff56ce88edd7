// What one copy of a message to ten apps costs, by the system call that sends it: sendto of one
// piece, sendmsg of header and payload gathered, or one sendmmsg of all of them.
#include "datagram.h"
#include "udp.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <sys/socket.h>
#include <vector>

namespace bench {

namespace {

constexpr std::size_t app_count = 10;
constexpr std::uint16_t first_port = 23000;
constexpr int messages_per_turn = 100; // fit into the receivers' buffers
constexpr int turns = 400;

int output = -1;
std::array<int, app_count> inputs;
std::array<sockaddr_in, app_count> addresses;
std::array<std::uint8_t, app_header_size + datagram_size> whole;

std::array<iovec, 2> parts() {
    return {{{whole.data(), app_header_size}, {whole.data() + app_header_size, datagram_size}}};
}

void by_sendto() {
    for (const sockaddr_in& address : addresses)
        send_to(output, whole.data(), whole.size(), address);
}

void by_sendmsg() {
    std::array<iovec, 2> gathered = parts();
    for (sockaddr_in& address : addresses) {
        msghdr message{};
        message.msg_name = &address;
        message.msg_namelen = sizeof address;
        message.msg_iov = gathered.data();
        message.msg_iovlen = gathered.size();
        sendmsg(output, &message, 0);
    }
}

void by_sendmmsg() {
    std::array<iovec, 2> gathered = parts();
    std::array<mmsghdr, app_count> messages{};
    for (std::size_t i = 0; i < app_count; ++i) {
        messages[i].msg_hdr.msg_name = &addresses[i];
        messages[i].msg_hdr.msg_namelen = sizeof addresses[i];
        messages[i].msg_hdr.msg_iov = gathered.data();
        messages[i].msg_hdr.msg_iovlen = gathered.size();
    }
    sendmmsg(output, messages.data(), app_count, 0);
}

struct Style {
    const char* name;
    void (*send)();
    std::vector<double> ns_per_copy{};
};

void take_all() {
    std::array<std::uint8_t, 2048> buffer;
    for (const int input : inputs) {
        while (recv(input, buffer.data(), buffer.size(), MSG_DONTWAIT) > 0) {
        }
    }
}

void measure(Style& style) {
    const std::int64_t before = clock_ns(CLOCK_THREAD_CPUTIME_ID);
    for (int i = 0; i < messages_per_turn; ++i)
        style.send();
    const std::int64_t spent = clock_ns(CLOCK_THREAD_CPUTIME_ID) - before;
    style.ns_per_copy.push_back(static_cast<double>(spent) /
                                static_cast<double>(messages_per_turn * app_count));
    take_all();
}

} // namespace

} // namespace bench

int main() {
    using namespace bench;
    std::array<Style, 3> styles{
        {{"sendto", by_sendto}, {"sendmsg", by_sendmsg}, {"sendmmsg", by_sendmmsg}}};
    output = open_socket(0);
    for (std::size_t i = 0; i < app_count; ++i) {
        addresses[i] = loopback(static_cast<std::uint16_t>(first_port + i));
        inputs[i] = open_socket(static_cast<std::uint16_t>(first_port + i));
    }
    for (int turn = 0; turn < turns; ++turn) {
        for (Style& style : styles)
            measure(style);
    }
    for (Style& style : styles) {
        std::ranges::sort(style.ns_per_copy);
        std::printf("%-9s %5.0f ns CPU per copy (median of %d)\n", style.name,
                    style.ns_per_copy[turns / 2], turns);
    }
}
