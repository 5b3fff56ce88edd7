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
#include <mutex>
#include <sys/socket.h>
#include <sys/uio.h>
#include <utility>

namespace fieldrelaybox {

namespace {

std::atomic<int> message_socket{-1};
std::atomic<std::uint32_t> next_sequence{0}; // shared by all kinds

// While video or audio is being sent status messages are dropped, not queued.
std::atomic<bool> sends_media{false};

// Short, guards the order of video and audio: who takes numbers sends them before others take
// higher ones, which would overtake them. Nobody waits for a network in it.
std::mutex media_order;

// In whose lifetime video or audio is being sent.
struct MediaSend {
    MediaSend() { sends_media.store(true, std::memory_order_relaxed); }
    ~MediaSend() { sends_media.store(false, std::memory_order_relaxed); }
    MediaSend(const MediaSend&) = delete;
    MediaSend& operator=(const MediaSend&) = delete;
    MediaSend(MediaSend&&) = delete;
    MediaSend& operator=(MediaSend&&) = delete;

    const std::lock_guard<std::mutex> order{media_order};
};

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

// Which of the apps' ways refuse segments, by their place. The next app at a place inherits that
// for some seconds, which costs it nothing but processor time.
std::array<SegmentRefusal, app_client_capacity> refusals;

void write_header(std::uint8_t* header, MessageKind kind, std::uint32_t sequence) {
    header[0] = 'B';
    header[1] = static_cast<std::uint8_t>(kind);
    header[2] = header[3] = 0;
    put_u32le(&header[4], sequence);
    put_u16le(&header[8],
              static_cast<std::uint16_t>(load(config_record().server_client_id) & 0xFFFF));
    header[10] = header[11] = 0;
}

// Who gets a message.
struct Recipients {
    std::array<const AppClientTarget*, app_client_capacity> apps;
    std::size_t count;
    const AppClientTarget* server; // null: not wanted there
};

Recipients recipients_of(MessageKind kind) {
    const AppClientTargets& targets = app_client_targets();
    Recipients recipients{};
    for (std::size_t i = 0; i < targets.count; ++i) {
        const AppClientTarget& target = targets.entries[i];
        if (target.data_only && kind != MessageKind::status)
            continue;
        if (target.is_server)
            recipients.server = &target;
        else
            recipients.apps[recipients.count++] = &target;
    }
    return recipients;
}

// One message for several apps: a datagram, or several as segments.
struct Copies {
    std::array<mmsghdr, app_client_capacity> messages;
    std::array<const AppClientTarget*, app_client_capacity> apps;
    unsigned count;
    std::size_t datagrams; // in each
};

void add_copy(Copies& copies, const AppClientTarget* app, const msghdr& content) {
    copies.apps[copies.count] = app;
    msghdr& message = copies.messages[copies.count++].msg_hdr;
    message = content;
    message.msg_name = const_cast<sockaddr_in*>(&app->address);
    message.msg_namelen = sizeof app->address;
}

Copies make_copies(const Recipients& recipients, const msghdr& content, std::size_t datagrams) {
    Copies copies;
    copies.count = 0;
    copies.datagrams = datagrams;
    for (std::size_t i = 0; i < recipients.count; ++i)
        add_copy(copies, recipients.apps[i], content);
    return copies;
}

// Both return how many copies they counted.
unsigned count_sent_copies(const Copies& copies, unsigned first, unsigned sent) {
    const std::size_t size = copies.messages[first].msg_len;
    for (unsigned i = first; i < first + sent; ++i)
        count_sent(statistics().apps[copies.apps[i]->place].sent, copies.datagrams, size);
    count_sent(statistics().control_out, sent * copies.datagrams, sent * size);
    return sent;
}

unsigned count_failed_copy(const Copies& copies, unsigned failed) {
    count_unsent(statistics().apps[copies.apps[failed]->place].sent);
    count_unsent(statistics().control_out);
    return 1;
}

// One system call for the copies from first on, which never waits. It stops at one that cannot be
// reached; the next call starts with that one and fails at once. Returns how many were sent and
// counted.
unsigned send_from(Copies& copies, unsigned first) {
    const int sent = sendmmsg(message_socket.load(std::memory_order_relaxed),
                              &copies.messages[first], copies.count - first, MSG_DONTWAIT);
    return sent > 0 ? count_sent_copies(copies, first, static_cast<unsigned>(sent)) : 0;
}

// Returns at how many it found the socket full, else the number of all.
unsigned send_together(Copies& copies) {
    for (unsigned done = 0; done < copies.count;) {
        const unsigned sent = send_from(copies, done);
        if (sent == 0 && is_shared_socket_full()) {
            send_apart();
            return done;
        }
        done += sent > 0 ? sent : count_failed_copy(copies, done);
    }
    return copies.count;
}

void send_all(Copies copies) {
    for (unsigned i = is_apart() ? 0 : send_together(copies); i < copies.count; ++i) {
        if (sendmmsg(app_socket(copies.apps[i]->place), &copies.messages[i], 1, MSG_DONTWAIT) == 1)
            count_sent_copies(copies, i, 1);
        else
            count_failed_copy(copies, i);
    }
}

ssize_t send_one(int socket, Bytes bytes, const sockaddr_in& app) {
    return sendto(socket, bytes.data(), bytes.size(), MSG_DONTWAIT,
                  reinterpret_cast<const sockaddr*>(&app), sizeof app);
}

void send_to_all(const Recipients& recipients, Bytes header, Bytes payload) {
    std::array<iovec, 2> parts{{{const_cast<std::uint8_t*>(header.data()), header.size()},
                                {const_cast<std::uint8_t*>(payload.data()), payload.size()}}};
    // Where they lie in one piece, the kernel need not gather them.
    const bool whole = header.data() + header.size() == payload.data();
    if (whole)
        parts[0].iov_len += payload.size();
    msghdr content{};
    content.msg_iov = parts.data();
    content.msg_iovlen = whole ? 1 : parts.size();
    if (recipients.count > 0)
        send_all(make_copies(recipients, content, 1));
    const AppClientTarget* const server = recipients.server;
    if (server != nullptr && load(config_record().server_client_id) != 0)
        count_sent(statistics().apps[server->place].sent, send_through_server(header, payload));
}

void send_message(Bytes payload, MessageKind kind) {
    std::array<std::uint8_t, message_header_size> header;
    write_header(header.data(), kind, next_sequence.fetch_add(1, std::memory_order_relaxed));
    send_to_all(recipients_of(kind), header, payload);
}

// Takes the apps that refuse segments out of recipients and returns them.
Recipients take_refusing(Recipients& recipients) {
    Recipients refusing{
        .apps = {}, .count = 0, .server = std::exchange(recipients.server, nullptr)};
    std::size_t kept = 0;
    for (std::size_t i = 0; i < recipients.count; ++i) {
        const AppClientTarget* const app = recipients.apps[i];
        if (refuses_segments(refusals[app->place]))
            refusing.apps[refusing.count++] = app;
        else
            recipients.apps[kept++] = app;
    }
    recipients.count = kept;
    return refusing;
}

// Sends messages, each with its header, as segments. Returns who has still to get them one by one,
// for whatever reason: that way knows what to do about each.
Recipients send_as_segments(Recipients recipients, Datagrams messages) {
    if (messages.size() == 1 || is_apart())
        return recipients;
    Recipients left = take_refusing(recipients);
    SegmentControl control{};
    msghdr content{};
    set_segments(content, messages, control);
    Copies copies = make_copies(recipients, content, messages.size());
    for (unsigned done = 0; done < copies.count;) {
        const unsigned sent = send_from(copies, done);
        done += sent;
        if (sent > 0)
            continue;
        note_refusal(refusals[copies.apps[done]->place]);
        left.apps[left.count++] = copies.apps[done++];
    }
    return left;
}

void send_run(Datagrams run, MessageKind kind) {
    const auto size = static_cast<std::uint32_t>(run.size());
    std::uint32_t sequence = next_sequence.fetch_add(size, std::memory_order_relaxed);
    const Recipients recipients = recipients_of(kind);
    if (recipients.count == 0 && recipients.server == nullptr)
        return;
    std::array<iovec, run_limit> messages;
    for (std::size_t i = 0; i < run.size(); ++i) {
        std::uint8_t* const header =
            static_cast<std::uint8_t*>(run[i].iov_base) - message_header_size;
        write_header(header, kind, sequence++);
        messages[i] = {header, message_header_size + run[i].iov_len};
    }
    const Recipients left = send_as_segments(recipients, {messages.data(), run.size()});
    for (const iovec& datagram : run) {
        const Bytes payload = bytes_of(datagram);
        send_to_all(left, {payload.data() - message_header_size, message_header_size}, payload);
    }
}

} // namespace

void set_message_socket(int socket) {
    message_socket.store(socket, std::memory_order_relaxed);
}

void post_message(Bytes payload, MessageKind kind) {
    if (kind != MessageKind::status) {
        const MediaSend media_send;
        send_message(payload, kind);
    } else if (!sends_media.load(std::memory_order_relaxed)) {
        send_message(payload, kind);
    }
}

void post_run(Datagrams run, MessageKind kind) {
    const MediaSend media_send;
    send_run(run, kind);
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
