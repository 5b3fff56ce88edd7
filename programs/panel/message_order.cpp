#include "panel/message_order.h"

#include <algorithm>
#include <utility>

namespace panel {
namespace {

using fieldrelaybox::Bytes;

constexpr std::size_t number_at = 4;
// What is further off is a box that began anew. More than a minute of video is not lost in between
// without the link being given up, and nothing comes so much later than its successors.
constexpr std::uint32_t farthest_ahead = 65'536;
constexpr std::uint32_t farthest_behind = 64;

WaitingMessage& place_of(MessageOrder& order, std::uint32_t number) {
    return order.waiting[number % order_window];
}

bool is_far(const MessageOrder& order, std::uint32_t number) {
    return number - order.next > farthest_ahead && order.next - number > farthest_behind;
}

bool is_late(const MessageOrder& order, std::uint32_t number) {
    return number - order.next > farthest_ahead;
}

void begin_at(MessageOrder& order, std::uint32_t number) {
    start_order_anew(order, true);
    order.begun = true;
    order.next = number;
}

void hand_over(MessageOrder& order, Bytes datagram, std::int64_t came_us, const TakeInOrder& take) {
    ++order.next;
    take(datagram, came_us, std::exchange(order.gap, false));
}

void lose(MessageOrder& order, std::uint32_t count) {
    order.next += count;
    order.lost += count;
    order.gap = true;
}

// The expected one goes on when it waits, and is lost otherwise.
void go_on(MessageOrder& order, const TakeInOrder& take) {
    WaitingMessage& place = place_of(order, order.next);
    if (place.datagram.empty())
        return lose(order, 1);
    const std::vector<std::uint8_t> datagram = std::exchange(place.datagram, {});
    hand_over(order, datagram, place.came_us, take);
}

void hand_over_waiting(MessageOrder& order, const TakeInOrder& take) {
    while (!place_of(order, order.next).datagram.empty())
        go_on(order, take);
}

// Gives up those that the window has no room for beside this number.
void make_room(MessageOrder& order, std::uint32_t number, const TakeInOrder& take) {
    constexpr std::uint32_t window = order_window;
    for (std::uint32_t i = 0; i < window && number - order.next >= window; ++i)
        go_on(order, take);
    if (number - order.next >= window) // nothing waits any more
        lose(order, number - order.next - (window - 1));
    hand_over_waiting(order, take);
}

void keep(MessageOrder& order, std::uint32_t number, Bytes datagram, std::int64_t now_us) {
    WaitingMessage& place = place_of(order, number);
    if (!place.datagram.empty()) {
        ++order.doubled;
        return;
    }
    place.datagram.assign(datagram.begin(), datagram.end());
    place.came_us = now_us;
}

} // namespace

void take_message(MessageOrder& order, Bytes datagram, std::int64_t now_us,
                  const TakeInOrder& take) {
    if (datagram.size() < message_header_size)
        return;
    if (!order.numbered)
        return take(datagram, now_us, false);
    const std::uint32_t number = fieldrelaybox::get_u32le(&datagram[number_at]);
    if (!order.begun || is_far(order, number))
        begin_at(order, number);
    if (is_late(order, number)) {
        ++order.doubled;
        return;
    }
    make_room(order, number, take);
    if (number != order.next)
        return keep(order, number, datagram, now_us);
    hand_over(order, datagram, now_us, take);
    hand_over_waiting(order, take);
}

void pass_time(MessageOrder& order, std::int64_t now_us, const TakeInOrder& take) {
    while (due_us(order) <= now_us)
        go_on(order, take);
    hand_over_waiting(order, take);
}

std::int64_t due_us(const MessageOrder& order) {
    std::int64_t due = never_us;
    for (const WaitingMessage& message : order.waiting)
        if (!message.datagram.empty())
            due = std::min(due, message.came_us + order_wait_us);
    return due;
}

void start_order_anew(MessageOrder& order, bool numbered) {
    order.numbered = numbered;
    order.begun = false;
    order.gap = true; // nobody knows what was before
    for (WaitingMessage& message : order.waiting)
        message.datagram.clear();
}

} // namespace panel
