#include "panel/box_link.h"

#include "core/log.h"
#include "core/sockets.h"
#include "panel/box_name.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace panel {
namespace {

using fieldrelaybox::Bytes;

constexpr std::int64_t register_again_us = 2 * second_us;
constexpr std::int64_t silent_us = 5 * second_us; // the box says something every 3 s
constexpr std::int64_t look_again_us = 3 * second_us;
constexpr std::int64_t take_alone_us = second_us;
constexpr int bursts_per_call = 4;
constexpr int receive_bytes = 1 << 20; // a picture comes in one go
constexpr int send_bytes = 1 << 16;

constexpr std::uint8_t first_byte =
    'B'; // of every message, both ways, and of an answer all there is
enum Control : std::uint8_t { register_app = 0, remove_app = 1 };
enum Kind : std::uint8_t { status_kind, video_kind, sound_kind, kind_count };

bool has_box(const BoxLink& link) {
    return link.box.sin_port != 0;
}

bool is_looking(const BoxLink& link) {
    return link.name.empty() && !link.heard;
}

bool send_to(const BoxLink& link, const sockaddr_in& to, Bytes datagram) {
    return sendto(link.socket, datagram.data(), datagram.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
                  reinterpret_cast<const sockaddr*>(&to),
                  sizeof to) == static_cast<ssize_t>(datagram.size());
}

void send_registration(const BoxLink& link, const sockaddr_in& to, bool data_only) {
    std::array<std::uint8_t, message_header_size + 2> datagram{first_byte};
    datagram[message_header_size] = register_app;
    datagram[message_header_size + 1] = data_only ? 1 : 0;
    send_to(link, to, datagram);
}

void say_good_bye(const BoxLink& link, const sockaddr_in& to) {
    std::array<std::uint8_t, message_header_size + 1> datagram{first_byte};
    datagram[message_header_size] = remove_app;
    send_to(link, to, datagram);
}

void register_again(BoxLink& link, std::int64_t now_us) {
    if (!has_box(link) || now_us < link.register_due_us)
        return;
    link.register_due_us = now_us + register_again_us;
    send_registration(link, link.box, !link.wants_media);
}

void switch_to(BoxLink& link, const sockaddr_in& box, std::int64_t now_us) {
    if (fieldrelaybox::is_same_address(box, link.box))
        return;
    if (has_box(link)) {
        if (link.take.leaves)
            link.take.leaves();
        say_good_bye(link, link.box);
    }
    link.box = box;
    link.heard = false;
    link.take_due_us = never_us;
    link.look_due_us = now_us + look_again_us;
    start_order_anew(link.order, false);
    link.register_due_us = now_us;
    register_again(link, now_us);
    link.take.changed();
}

void hear(BoxLink& link, std::int64_t now_us) {
    link.heard_us = now_us;
    if (std::exchange(link.heard, true))
        return;
    link.take_due_us = never_us;
    if (link.name.empty())
        note_answer(link.found, link.box, now_us);
    link.take.changed();
}

void note_silence(BoxLink& link, std::int64_t now_us) {
    if (!link.heard || now_us - link.heard_us < silent_us)
        return;
    link.heard = false;
    link.look_due_us = now_us;
    start_order_anew(link.order, false);
    link.take.changed();
}

// A message in its turn.
void hand_on(BoxLink& link, Bytes datagram, std::int64_t came_us, bool gap) {
    link.video_gap = link.video_gap || gap;
    const Bytes payload = datagram.subspan(message_header_size);
    switch (datagram[1]) {
    case status_kind:
        return link.take.status(payload);
    case video_kind:
        ++link.counts.video_datagrams;
        link.counts.video_bytes += payload.size();
        return link.take.video(payload, came_us, std::exchange(link.video_gap, false));
    default:
        ++link.counts.sound_datagrams;
        link.counts.sound_bytes += payload.size();
        return link.take.sound(payload, came_us);
    }
}

TakeInOrder order_taker(BoxLink& link) {
    return [&link](Bytes datagram, std::int64_t came_us, bool gap) {
        hand_on(link, datagram, came_us, gap);
    };
}

bool is_answer(Bytes datagram) {
    return datagram.size() == 1 && datagram[0] == first_byte;
}

bool is_message(Bytes datagram) {
    return datagram.size() > message_header_size && datagram[0] == first_byte &&
           datagram[1] < kind_count;
}

// A box that was asked by the way has registered us, and would send for seconds. One that answers
// from a port that was not asked is no box.
void take_from_other(BoxLink& link, Bytes datagram, const sockaddr_in& sender,
                     std::int64_t now_us) {
    const bool answers = is_answer(datagram) && sender.sin_port == htons(link.port);
    if (answers)
        say_good_bye(link, sender);
    if (!answers || !is_looking(link)) {
        ++link.counts.strange;
        return;
    }
    if (!note_answer(link.found, known_address(link.surroundings, sender), now_us))
        return;
    link.takes_alone = link.takes_alone && link.found.size() == 1;
    link.take_due_us = link.takes_alone ? now_us + take_alone_us : never_us;
    link.take.changed();
}

// A good-bye first: a box does not answer whom it knows already.
void look_for_boxes(BoxLink& link, std::int64_t now_us) {
    if (!is_looking(link) || now_us < link.look_due_us)
        return;
    link.look_due_us = now_us + look_again_us;
    link.surroundings = read_surroundings();
    for (const in_addr_t address : link.surroundings.asked) {
        const sockaddr_in to = fieldrelaybox::ipv4_address(ntohl(address), link.port);
        say_good_bye(link, to);
        send_registration(link, to, true);
    }
    link.register_due_us = now_us; // ours may have been among those asked
    if (forget_silent(link.found, now_us))
        link.take.changed();
}

void take_only_box(BoxLink& link, std::int64_t now_us) {
    if (now_us < link.take_due_us)
        return;
    link.take_due_us = never_us;
    if (!link.found.empty())
        switch_to(link, link.found[0].address, now_us);
}

void follow_name(BoxLink& link, std::int64_t now_us) {
    if (const auto address = follow_lookup(link.lookup, !link.heard, now_us))
        switch_to(link, fieldrelaybox::ipv4_address(ntohl(address->s_addr), link.port), now_us);
}

bool use_name(BoxLink& link, std::string_view text) {
    const auto name = parse_box_name(text);
    if (!name) {
        fieldrelaybox::log_error("\"%s\" is no HOST[:PORT]", std::string(text).c_str());
        return false;
    }
    link.port = name->port;
    if (name->address)
        link.box = fieldrelaybox::ipv4_address(ntohl(name->address->s_addr), link.port);
    else
        link.lookup.host = name->host;
    return true;
}

bool open_socket(BoxLink& link) {
    link.socket = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (link.socket < 0) {
        fieldrelaybox::log_error("no socket towards the box: %s", std::strerror(errno));
        return false;
    }
    const int yes = 1;
    setsockopt(link.socket, SOL_SOCKET, SO_BROADCAST, &yes, sizeof yes);
    fieldrelaybox::set_socket_buffers(link.socket, receive_bytes, send_bytes);
    return fieldrelaybox::bind_socket(link.socket, INADDR_ANY, 0);
}

} // namespace

bool open_box_link(BoxLink& link, std::string_view box, FromBox take) {
    link.name = box;
    link.take = std::move(take);
    if (!box.empty() && !use_name(link, box))
        return false;
    link.room = make_burst_room();
    return open_socket(link);
}

void take_datagram(BoxLink& link, Bytes datagram, const sockaddr_in& sender, std::int64_t now_us) {
    if (!fieldrelaybox::is_same_address(sender, link.box))
        return take_from_other(link, datagram, sender, now_us);
    const bool answers = is_answer(datagram);
    if (!answers && !is_message(datagram)) {
        ++link.counts.strange;
        return;
    }
    ++link.counts.datagrams;
    hear(link, now_us);
    const bool is_media = !answers && datagram[1] != status_kind;
    if (answers || (is_media && !link.wants_media)) // what was still on its way
        return;
    if (is_media && !link.order.numbered) // from now on all kinds come, so numbers tell a loss
        start_order_anew(link.order, true);
    take_message(link.order, datagram, now_us, order_taker(link));
}

void take_datagrams(BoxLink& link, std::int64_t now_us) {
    const auto take = [&link, now_us](Bytes datagram, const sockaddr_in& sender) {
        take_datagram(link, datagram, sender, now_us);
    };
    int bursts = 0;
    while (receive_burst(link.socket, *link.room, take) && ++bursts < bursts_per_call) {
    }
}

void pass_time(BoxLink& link, std::int64_t now_us) {
    pass_time(link.order, now_us, order_taker(link));
    note_silence(link, now_us);
    follow_name(link, now_us);
    look_for_boxes(link, now_us);
    take_only_box(link, now_us);
    register_again(link, now_us);
}

std::int64_t due_us(const BoxLink& link) {
    return std::min({due_us(link.order), due_us(link.lookup, !link.heard), link.take_due_us,
                     link.heard ? link.heard_us + silent_us : never_us,
                     has_box(link) ? link.register_due_us : never_us,
                     is_looking(link) ? link.look_due_us : never_us});
}

void choose_box(BoxLink& link, const sockaddr_in& box, std::int64_t now_us) {
    link.takes_alone = false;
    switch_to(link, box, now_us);
}

void ask_for_media(BoxLink& link, bool wanted, std::int64_t now_us) {
    if (std::exchange(link.wants_media, wanted) == wanted)
        return;
    start_order_anew(link.order, false); // until the first of them shows that the box has heard it
    link.register_due_us = now_us;
    register_again(link, now_us);
}

bool send_command(BoxLink& link, std::string_view json) {
    if (!has_box(link) || json.size() > longest_command || !json.starts_with('{'))
        return false;
    std::array<std::uint8_t, message_header_size + longest_command> datagram{first_byte};
    std::ranges::copy(json, datagram.begin() + message_header_size);
    return send_to(link, link.box, Bytes(datagram).first(message_header_size + json.size()));
}

void close_box_link(BoxLink& link) {
    if (link.socket < 0)
        return;
    if (has_box(link))
        say_good_bye(link, link.box);
    close(std::exchange(link.socket, -1));
}

} // namespace panel
