#include "receivers.h"

#include "datagram.h"
#include "measured_relay.h"
#include "udp.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <mutex>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace bench {

namespace {

constexpr int buffer_bytes = 8'000'000;
constexpr useconds_t reading_pause_us = 4'000;
constexpr int quiet_passes = 75; // without a copy: no more will come
constexpr std::int64_t registration_period_ns = 2'000'000'000;
constexpr std::uint16_t control_port = 4242;
constexpr std::size_t batch = 64;

struct Receiver {
    Destination destination;
    int socket;
    std::int64_t last_number = -1;   // in this segment
    std::int64_t last_sequence = -1; // of video messages in this segment, apps only
};

std::vector<Receiver> receivers;

std::mutex arrivals_mutex; // for everything below
Arrivals arrivals;
std::uint32_t expected_segment = 0;
int passes_without_copy = 0;

// Room for the datagrams that one system call takes.
struct Batch {
    struct Place {
        std::array<std::uint8_t, app_header_size + datagram_size + 64> bytes;
        alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(timespec))> control;
        iovec part;
    };
    std::array<Place, batch> places;
    std::array<mmsghdr, batch> messages;
};

unsigned take(int socket, Batch& room) {
    for (std::size_t i = 0; i < batch; ++i) {
        Batch::Place& place = room.places[i];
        place.part = {place.bytes.data(), place.bytes.size()};
        msghdr& message = room.messages[i].msg_hdr;
        message = {};
        message.msg_iov = &place.part;
        message.msg_iovlen = 1;
        message.msg_control = place.control.data();
        message.msg_controllen = place.control.size();
    }
    const int taken = recvmmsg(socket, room.messages.data(), batch, MSG_DONTWAIT, nullptr);
    return taken > 0 ? static_cast<unsigned>(taken) : 0;
}

std::int64_t arrival_ns(msghdr& message) {
    const cmsghdr* control = CMSG_FIRSTHDR(&message);
    if (control == nullptr || control->cmsg_type != SCM_TIMESTAMPNS)
        give_up("no time of arrival");
    timespec time{};
    std::memcpy(&time, CMSG_DATA(control), sizeof time);
    return static_cast<std::int64_t>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

// Only the daemon counts its messages; the bare loop leaves the number at 0.
bool is_in_sequence(Receiver& receiver, std::span<const std::uint8_t> header) {
    std::uint32_t sequence = 0;
    std::memcpy(&sequence, &header[4], sizeof sequence);
    const bool right = sequence == 0 || sequence > receiver.last_sequence;
    receiver.last_sequence = sequence;
    return right;
}

void count_copy(Receiver& receiver, std::span<const std::uint8_t> payload, std::int64_t time_ns) {
    Stamp stamp{};
    if (!read_datagram(payload, stamp) || stamp.segment != expected_segment ||
        stamp.number >= arrivals.first_ns.size()) {
        ++arrivals.damaged;
        return;
    }
    if (stamp.number <= receiver.last_number)
        ++arrivals.misplaced;
    else
        ++arrivals.copies;
    receiver.last_number = stamp.number;
    const std::int64_t latency = time_ns - stamp.sent_ns;
    std::int64_t& first = arrivals.first_ns[stamp.number];
    first = first == 0 ? latency : std::min(first, latency);
    arrivals.last_ns[stamp.number] = std::max(arrivals.last_ns[stamp.number], latency);
}

// To an app come status messages and one-byte replies as well.
void count_app_datagram(Receiver& receiver, std::span<const std::uint8_t> bytes,
                        std::int64_t time_ns) {
    constexpr std::array<std::uint8_t, 4> video{'B', 1, 0, 0};
    if (bytes.size() < app_header_size || bytes[1] == 0)
        return;
    if (std::memcmp(bytes.data(), video.data(), video.size()) != 0 ||
        !is_in_sequence(receiver, bytes))
        ++arrivals.damaged;
    else
        count_copy(receiver, bytes.subspan(app_header_size), time_ns);
}

void drain(Receiver& receiver, Batch& room) {
    unsigned taken = 0;
    do {
        taken = take(receiver.socket, room);
        const std::lock_guard lock(arrivals_mutex);
        if (taken > 0)
            passes_without_copy = 0;
        for (unsigned i = 0; i < taken; ++i) {
            const std::span<const std::uint8_t> bytes(room.places[i].bytes.data(),
                                                      room.messages[i].msg_len);
            const std::int64_t time_ns = arrival_ns(room.messages[i].msg_hdr);
            if (receiver.destination.route == Route::app)
                count_app_datagram(receiver, bytes, time_ns);
            else
                count_copy(receiver, bytes, time_ns);
        }
    } while (taken == batch);
}

void keep_registered() {
    static std::int64_t next = 0;
    const std::int64_t now = clock_ns(CLOCK_MONOTONIC);
    if (now < next)
        return;
    next = now + registration_period_ns;
    const std::array<std::uint8_t, app_header_size + 2> registration{'B'};
    for (const Receiver& receiver : receivers) {
        if (receiver.destination.route == Route::app)
            send_to(receiver.socket, registration.data(), registration.size(),
                    loopback(control_port));
    }
}

[[noreturn]] void receive_forever() {
    static Batch room;
    while (true) {
        keep_registered();
        for (Receiver& receiver : receivers)
            drain(receiver, room);
        {
            const std::lock_guard lock(arrivals_mutex);
            ++passes_without_copy;
        }
        usleep(reading_pause_us);
    }
}

} // namespace

void start_receivers(std::span<const Destination> destinations) {
    constexpr int on = 1;
    for (const Destination& destination : destinations) {
        if (!destination.open)
            continue;
        const int socket = open_socket(destination.port);
        set_buffers(socket, buffer_bytes);
        setsockopt(socket, SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof on);
        receivers.push_back({destination, socket});
    }
    std::thread(receive_forever).detach();
}

void expect_segment(std::uint32_t segment, std::uint32_t datagrams) {
    const std::lock_guard lock(arrivals_mutex);
    expected_segment = segment;
    arrivals = {};
    arrivals.first_ns.resize(datagrams);
    arrivals.last_ns.resize(datagrams);
    passes_without_copy = 0;
    for (Receiver& receiver : receivers)
        receiver.last_number = receiver.last_sequence = -1;
}

Arrivals await_arrivals(std::uint32_t datagrams) {
    while (true) {
        {
            const std::lock_guard lock(arrivals_mutex);
            if (arrivals.copies >= std::uint64_t{datagrams} * receivers.size() ||
                passes_without_copy > quiet_passes)
                return arrivals;
        }
        usleep(reading_pause_us);
    }
}

std::uint64_t receiver_drops() {
    std::uint64_t drops = 0;
    for (const Receiver& receiver : receivers)
        drops += drops_at_port(receiver.destination.port);
    return drops;
}

} // namespace bench
