#include "bare_relay.h"

#include "datagram.h"
#include "udp.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstring>
#include <netinet/udp.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace bench {

namespace {

constexpr std::uint16_t bare_port = 5100;
constexpr std::uint16_t segments_port = 5101;
constexpr std::size_t datagram_capacity = 60'000;
constexpr int input_buffer_bytes = 600'000;
constexpr int app_buffer_bytes = 10'000'000;

struct Copy {
    int socket;
    sockaddr_in address;
    std::size_t header_size; // sent from that far before the received bytes
};

// As the daemon has it: apps share a socket, UDP clients share one, each encoder has its own.
std::vector<Copy> open_outputs(std::span<const Destination> destinations) {
    const int app_socket = open_socket(0);
    set_buffers(app_socket, app_buffer_bytes);
    const int udp_client_socket = open_socket(0);
    std::vector<Copy> copies;
    for (const Destination& destination : destinations) {
        const sockaddr_in address = loopback(destination.port);
        switch (destination.route) {
        case Route::app:
            copies.push_back({app_socket, address, app_header_size});
            break;
        case Route::udp_client:
            copies.push_back({udp_client_socket, address, 0});
            break;
        case Route::encoder:
            copies.push_back({open_socket(0), address, 0});
            break;
        }
    }
    return copies;
}

int open_input(std::uint16_t port) {
    const int input = open_socket(port);
    set_buffers(input, input_buffer_bytes);
    return input;
}

[[noreturn]] void relay_datagrams(std::span<const Destination> destinations) {
    const int input = open_input(bare_port);
    const std::vector<Copy> copies = open_outputs(destinations);
    std::vector<std::uint8_t> buffer(app_header_size + datagram_capacity);
    buffer[0] = 'B';
    buffer[1] = 1;
    std::uint8_t* payload = buffer.data() + app_header_size;
    while (true) {
        const ssize_t length = recv(input, payload, datagram_capacity, 0);
        if (length <= 0)
            continue;
        for (const Copy& copy : copies)
            send_to(copy.socket, payload - copy.header_size,
                    static_cast<std::size_t>(length) + copy.header_size, copy.address);
    }
}

constexpr std::size_t burst_limit = 64;
constexpr std::size_t run_limit = 49; // of what is sent here: 65,507 bytes with the headers

constexpr std::size_t most_copies = 14;

// What came together, and the same with a header before each.
struct Burst {
    std::array<std::array<std::uint8_t, app_header_size + datagram_size>, burst_limit> places{};
    std::array<iovec, burst_limit> payloads{};
    std::array<iovec, burst_limit> messages{};
    std::array<mmsghdr, burst_limit> received{};
};

void set_up(Burst& burst) {
    for (std::size_t i = 0; i < burst_limit; ++i) {
        burst.places[i][0] = 'B';
        burst.places[i][1] = 1;
        burst.messages[i] = {burst.places[i].data(), burst.places[i].size()};
        burst.payloads[i] = {burst.places[i].data() + app_header_size, datagram_size};
        burst.received[i].msg_hdr.msg_iov = &burst.payloads[i];
        burst.received[i].msg_hdr.msg_iovlen = 1;
    }
}

using SegmentControl = std::array<char, CMSG_SPACE(sizeof(std::uint16_t))>;

void cut(msghdr& message, SegmentControl& control, std::size_t size) {
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    cmsghdr* const segment = CMSG_FIRSTHDR(&message);
    *segment = {CMSG_LEN(sizeof(std::uint16_t)), IPPROTO_UDP, UDP_SEGMENT};
    const auto bytes = static_cast<std::uint16_t>(size);
    std::memcpy(CMSG_DATA(segment), &bytes, sizeof bytes);
}

// The apps in one call, since they share a socket; they come first.
void send_run(std::span<const Copy> copies, Burst& burst, std::size_t first, std::size_t count) {
    alignas(cmsghdr) std::array<SegmentControl, 2> controls{};
    std::array<mmsghdr, most_copies> outputs{};
    std::size_t apps = 0;
    for (std::size_t i = 0; i < copies.size(); ++i) {
        msghdr& message = outputs[i].msg_hdr;
        const bool is_app = copies[i].header_size > 0;
        apps += is_app ? 1 : 0;
        message.msg_name = const_cast<sockaddr_in*>(&copies[i].address);
        message.msg_namelen = sizeof copies[i].address;
        message.msg_iov = &(is_app ? burst.messages : burst.payloads)[first];
        message.msg_iovlen = count;
        if (count > 1)
            cut(message, controls[is_app ? 1 : 0], datagram_size + copies[i].header_size);
    }
    if (apps > 0)
        sendmmsg(copies[0].socket, outputs.data(), static_cast<unsigned>(apps), 0);
    for (std::size_t i = apps; i < copies.size(); ++i)
        sendmsg(copies[i].socket, &outputs[i].msg_hdr, 0);
}

[[noreturn]] void relay_segments(std::span<const Destination> destinations) {
    const int input = open_input(segments_port);
    const std::vector<Copy> copies = open_outputs(destinations);
    static Burst burst;
    set_up(burst);
    while (true) {
        const int received =
            recvmmsg(input, burst.received.data(), burst_limit, MSG_WAITFORONE, nullptr);
        const std::size_t count = received > 0 ? static_cast<std::size_t>(received) : 0;
        for (std::size_t first = 0; first < count; first += run_limit)
            send_run(copies, burst, first, std::min(run_limit, count - first));
    }
}

MeasuredRelay start(std::uint16_t port, void (*relay)(std::span<const Destination>),
                    std::span<const Destination> destinations) {
    const pid_t caller = getpid();
    const pid_t child = fork();
    if (child < 0)
        give_up("fork");
    if (child > 0) {
        keep_on_own_processor(child);
        return {port, child, child};
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != caller)
        _exit(1);
    relay(destinations);
    _exit(1);
}

} // namespace

MeasuredRelay start_bare_relay(std::span<const Destination> destinations) {
    return start(bare_port, relay_datagrams, destinations);
}

MeasuredRelay start_segment_relay(std::span<const Destination> destinations) {
    return start(segments_port, relay_segments, destinations);
}

} // namespace bench
