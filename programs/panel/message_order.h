// Puts the box's messages in order: they are numbered by one thread and sent by another, so
// neighbours may arrive swapped. Counts what never came.
#pragma once

#include "core/bytes.h"
#include "panel/times.h"

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

namespace panel {

// A message waits for an earlier one until so many later ones are there, or so long.
inline constexpr std::size_t order_window = 8;
inline constexpr std::int64_t order_wait_us = 20'000;
inline constexpr std::size_t message_header_size = 12;

// datagram: whole, with its 12-byte header. gap: messages before it were lost, or it is the first.
using TakeInOrder =
    std::function<void(fieldrelaybox::Bytes datagram, std::int64_t came_us, bool gap)>;

struct WaitingMessage {
    std::vector<std::uint8_t> datagram; // empty: the place is free
    std::int64_t came_us = 0;
};

struct MessageOrder {
    bool numbered = false; // false: as they come, for a registration that gets some kinds only
    bool begun = false;
    bool gap = true;                                    // before the next message
    std::uint32_t next = 0;                             // expected number
    std::array<WaitingMessage, order_window> waiting{}; // by number modulo the window
    std::uint64_t lost = 0;
    std::uint64_t doubled = 0; // or too late
};

// A number far from the expected one is a box that began anew: the order starts from it, and
// nothing counts as lost. Datagrams shorter than a header are ignored.
void take_message(MessageOrder& order, fieldrelaybox::Bytes datagram, std::int64_t now_us,
                  const TakeInOrder& take);

// Lets those go on that have waited long enough.
void pass_time(MessageOrder& order, std::int64_t now_us, const TakeInOrder& take);

// When to call pass_time, or never_us.
std::int64_t due_us(const MessageOrder& order);

// Forgets what waits and what was expected; the counters stay.
void start_order_anew(MessageOrder& order, bool numbered);

} // namespace panel
