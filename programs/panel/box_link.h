// The way to a box, over the app protocol (docs/app-protocol.md): finds boxes, registers with one
// and stays registered, sends what browsers ask for and hands over what comes. One UDP socket,
// never blocking; whoever owns the loop polls it and calls.
#pragma once

#include "core/bytes.h"
#include "panel/box_name.h"
#include "panel/burst.h"
#include "panel/discovery.h"
#include "panel/message_order.h"
#include "panel/name_lookup.h"
#include "panel/times.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <netinet/in.h>
#include <string>
#include <string_view>
#include <vector>

namespace panel {

inline constexpr std::size_t longest_command = 255; // characters of JSON that a box reads

// Called from take_datagrams and pass_time, changed from choose_box as well. Payloads are without
// the header of the message and not empty. gap: some message before this one was lost.
struct FromBox {
    std::function<void(fieldrelaybox::Bytes payload)> status;
    std::function<void(fieldrelaybox::Bytes payload, std::int64_t came_us, bool gap)> video;
    std::function<void(fieldrelaybox::Bytes payload, std::int64_t came_us)> sound;
    std::function<void()> changed; // which boxes there are, which one is ours, whether it is heard
    std::function<void()> leaves = nullptr; // another box will be taken: last words to this one
};

struct LinkCounts {
    std::uint64_t datagrams = 0; // of the box, of all kinds
    std::uint64_t video_datagrams = 0;
    std::uint64_t video_bytes = 0;
    std::uint64_t sound_datagrams = 0;
    std::uint64_t sound_bytes = 0;
    std::uint64_t strange = 0; // from others, too short, or of no known kind
};

struct BoxLink {
    int socket = -1;
    FromBox take;
    std::string name;              // as the user gave it; empty: looked for
    std::uint16_t port = box_port; // of the box that is named or looked for
    sockaddr_in box{};             // port 0: none yet
    std::vector<FoundBox> found;   // by discovery; stays as it is while a box is heard
    bool wants_media = false;
    bool heard = false; // within the last 5 s
    std::int64_t heard_us = 0;
    bool takes_alone = true; // no: there were several, or the person has chosen
    bool video_gap = false;  // for the next video datagram
    std::int64_t register_due_us = 0;
    std::int64_t look_due_us = 0;
    std::int64_t take_due_us = never_us; // the only box that was found
    Surroundings surroundings;
    NameLookup lookup;
    MessageOrder order;
    LinkCounts counts;
    std::shared_ptr<BurstRoom> room;
};

// box: HOST[:PORT], a name or a dotted address, or "" to look for one by broadcast. False, told on
// standard error, when there is no socket or it is no such text. A name that is not known yet is
// asked for again and again.
bool open_box_link(BoxLink& link, std::string_view box, FromBox take);

// Takes what is there, at most a few bursts of it, so that the loop gets on.
void take_datagrams(BoxLink& link, std::int64_t now_us);

// One of them, of any bytes.
void take_datagram(BoxLink& link, fieldrelaybox::Bytes datagram, const sockaddr_in& sender,
                   std::int64_t now_us);

// Registers (every 2 s), looks for boxes (every 3 s while none was named and none is heard), gives
// up waiting for messages, tells when the box is not heard any more. The only box that was found
// is taken, unless there were several once or the person has chosen one.
void pass_time(BoxLink& link, std::int64_t now_us);
std::int64_t due_us(const BoxLink& link);

// The box from now on; the one before is told good-bye.
void choose_box(BoxLink& link, const sockaddr_in& box, std::int64_t now_us);

// Whether pictures and sound are to come as well. Registers at once when that changes.
void ask_for_media(BoxLink& link, bool wanted, std::int64_t now_us);

// False when there is no box, the text is longer than longest_command, or it cannot be sent.
bool send_command(BoxLink& link, std::string_view json);

// Says good-bye and closes.
void close_box_link(BoxLink& link);

} // namespace panel
