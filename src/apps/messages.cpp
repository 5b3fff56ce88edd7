#include "apps/messages.h"

#include "apps/app_clients.h"
#include "apps/app_sockets.h"
#include "apps/server_link.h"
#include "config/config_record.h"
#include "core/clock.h"
#include "core/shared_access.h"
#include "core/statistics.h"

#include <atomic>
#include <cerrno>
#include <span>
#include <sys/socket.h>
#include <sys/uio.h>

namespace fieldrelaybox {

namespace {

std::atomic<int> message_socket{-1};
std::atomic<std::uint32_t> next_sequence{0}; // shared by all kinds

// Above 0 while video or audio is being sent: status messages are then dropped, not queued.
std::atomic<int> media_sends{0};

// What waits in one slow network fills the shared socket, which then takes nothing for the other
// apps either. For a while each app has a socket of its own, where it fills nobody else's.
constexpr std::int64_t apart_ms = 10'000;

std::atomic<bool> apart{false};
std::atomic<std::int64_t> apart_since_ms{0}; // meaningful only while apart

void send_apart() {
    apart_since_ms.store(timer_clock(), std::memory_order_relaxed);
    apart.store(true, std::memory_order_release);
}

bool is_apart() {
    if (!apart.load(std::memory_order_acquire))
        return false;
    if (has_passed(timer_clock(), apart_since_ms.load(std::memory_order_relaxed), apart_ms))
        apart.store(false, std::memory_order_relaxed);
    return apart.load(std::memory_order_relaxed);
}

// Whether the send that failed would have waited, and there is another way.
bool is_shared_socket_full() {
    return errno == EAGAIN && app_socket(spare_app_socket) >= 0;
}

using MessageHeader = std::array<std::uint8_t, message_header_size>;

MessageHeader make_header(MessageKind kind) {
    MessageHeader header{};
    header[0] = 'B';
    header[1] = static_cast<std::uint8_t>(kind);
    put_u32le(&header[4], next_sequence.fetch_add(1, std::memory_order_relaxed));
    put_u16le(&header[8],
              static_cast<std::uint16_t>(load(config_record().server_client_id) & 0xFFFF));
    return header;
}

// One message for several apps, and each one's place among the statistics.
struct Copies {
    std::array<mmsghdr, app_client_capacity> messages;
    std::array<std::uint8_t, app_client_capacity> places;
    unsigned count;
};

void add_copy(Copies& copies, const AppClientTarget& target, std::span<iovec> parts) {
    copies.places[copies.count] = target.place;
    msghdr& message = copies.messages[copies.count++].msg_hdr;
    message.msg_name = const_cast<sockaddr_in*>(&target.address);
    message.msg_namelen = sizeof target.address;
    message.msg_iov = parts.data();
    message.msg_iovlen = parts.size();
}

// Both return how many copies they counted.
unsigned count_sent_copies(const Copies& copies, unsigned first, unsigned sent) {
    const std::size_t size = copies.messages[first].msg_len;
    for (unsigned i = first; i < first + sent; ++i)
        count_sent(statistics().apps[copies.places[i]].sent, static_cast<ssize_t>(size));
    count(statistics().control_out.datagrams, sent);
    count(statistics().control_out.bytes, sent * size);
    return sent;
}

unsigned count_failed_copy(const Copies& copies, unsigned failed) {
    count_unsent(statistics().apps[copies.places[failed]].sent);
    count_unsent(statistics().control_out);
    return 1;
}

// One system call for all recipients, which never waits. It stops at one that cannot be reached;
// the next call starts with that one, fails at once, and it is skipped. Returns at how many it
// found the socket full, else the number of all.
unsigned send_together(Copies& copies) {
    const int socket = message_socket.load(std::memory_order_relaxed);
    for (unsigned done = 0; done < copies.count;) {
        const int sent =
            sendmmsg(socket, &copies.messages[done], copies.count - done, MSG_DONTWAIT);
        if (sent <= 0 && is_shared_socket_full()) {
            send_apart();
            return done;
        }
        done += sent > 0 ? count_sent_copies(copies, done, static_cast<unsigned>(sent))
                         : count_failed_copy(copies, done);
    }
    return copies.count;
}

void send_all(Copies& copies) {
    for (unsigned i = is_apart() ? 0 : send_together(copies); i < copies.count; ++i) {
        if (sendmmsg(app_socket(copies.places[i]), &copies.messages[i], 1, MSG_DONTWAIT) == 1)
            count_sent_copies(copies, i, 1);
        else
            count_failed_copy(copies, i);
    }
}

ssize_t send_one(int socket, Bytes bytes, const sockaddr_in& app) {
    return sendto(socket, bytes.data(), bytes.size(), MSG_DONTWAIT,
                  reinterpret_cast<const sockaddr*>(&app), sizeof app);
}

void send_message(Bytes payload, MessageKind kind) {
    const MessageHeader header = make_header(kind);
    const AppClientTargets& targets = app_client_targets();
    std::array<iovec, 2> parts{{{const_cast<std::uint8_t*>(header.data()), header.size()},
                                {const_cast<std::uint8_t*>(payload.data()), payload.size()}}};
    Copies copies{};
    const AppClientTarget* server = nullptr;
    for (std::size_t i = 0; i < targets.count; ++i) {
        const AppClientTarget& target = targets.entries[i];
        if (target.data_only && kind != MessageKind::status)
            continue;
        if (target.is_server)
            server = &target;
        else
            add_copy(copies, target, parts);
    }
    send_all(copies);
    if (server != nullptr && load(config_record().server_client_id) != 0)
        count_sent(statistics().apps[server->place].sent, send_through_server(header, payload));
}

} // namespace

void set_message_socket(int socket) {
    message_socket.store(socket, std::memory_order_relaxed);
}

void post_message(Bytes payload, MessageKind kind) {
    if (kind == MessageKind::status) {
        if (media_sends.load(std::memory_order_relaxed) == 0)
            send_message(payload, kind);
        return;
    }
    media_sends.fetch_add(1, std::memory_order_relaxed);
    send_message(payload, kind);
    media_sends.fetch_sub(1, std::memory_order_relaxed);
}

void post_status_bytes(RecordCode code, const std::array<std::uint8_t, 6>& bytes) {
    std::array<std::uint8_t, 7> record{code_of(code)};
    std::copy(bytes.begin(), bytes.end(), record.begin() + 1);
    post_message(record, MessageKind::status);
}

void post_status_words(RecordCode code, std::int16_t first, std::int16_t second,
                       std::int16_t third) {
    std::array<std::uint8_t, 7> record{code_of(code)};
    put_i16le(&record[1], first);
    put_i16le(&record[3], second);
    put_i16le(&record[5], third);
    post_message(record, MessageKind::status);
}

void send_to_app(Bytes bytes, const sockaddr_in& app) {
    ssize_t sent = send_one(message_socket.load(std::memory_order_relaxed), bytes, app);
    if (sent < 0 && is_shared_socket_full())
        sent = send_one(app_socket(spare_app_socket), bytes, app);
    count_sent(statistics().control_out, sent);
}

} // namespace fieldrelaybox
