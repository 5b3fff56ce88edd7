#include "rcin/receiver.h"

#include "rcin/input.h"

#include <algorithm>
#include <cstddef>

namespace rcin {

namespace {

// What counts when two receivers differ: calibrating above all, otherwise the numbers are in order.
int rank(State state) {
    return state == State::calibrating ? static_cast<int>(State::good) + 1
                                       : static_cast<int>(state);
}

bool has_digital(const Receiver& receiver) {
    return receiver.has_frame && receiver.frame.digital_us[0] != absent;
}

} // namespace

void note_device(Receiver& receiver, bool there) {
    receiver.has_device = there;
    receiver.has_frame = false;
}

void note_frame(Receiver& receiver, const Frame& frame, std::int64_t now_us) {
    receiver.has_frame = true;
    receiver.frame_us = now_us;
    receiver.frame = frame;
}

State state_of(const Receiver& receiver, std::int64_t now_us) {
    if (!receiver.is_on)
        return State::off;
    if (!receiver.has_device)
        return State::no_device;
    if (!receiver.has_frame)
        return State::waiting;
    if (now_us - receiver.frame_us >= patience_us)
        return State::lost;
    return receiver.frame.failsafe ? State::failsafe : State::good;
}

State state_while(bool learning, const Receiver& receiver, std::int64_t now_us) {
    const State state = state_of(receiver, now_us);
    return learning && state == State::good ? State::calibrating : state;
}

std::int64_t loss_us(const Receiver& receiver, std::int64_t now_us) {
    const std::int64_t due_us = receiver.frame_us + patience_us;
    return receiver.has_frame && due_us > now_us ? due_us : never_us;
}

Outcome combine(const Receiver& rc1, const Receiver& rc2, bool learning, std::int64_t now_us) {
    Outcome outcome;
    std::size_t first = 0;
    for (const Receiver* receiver : {&rc1, &rc2}) {
        outcome.state = std::max(outcome.state, state_while(learning, *receiver, now_us),
                                 [](State a, State b) { return rank(a) < rank(b); });
        if (state_of(*receiver, now_us) == State::good)
            std::ranges::copy(receiver->frame.channels_us, &outcome.channels_us[first]);
        first += receiver_channels;
    }
    if (!rc2.is_on && state_of(rc1, now_us) == State::good)
        std::ranges::copy(rc1.frame.digital_us, &outcome.channels_us[receiver_channels]);
    return outcome;
}

bool leaves_digital_out(const Receiver& rc1, const Receiver& rc2) {
    return has_digital(rc2) || (has_digital(rc1) && rc2.is_on);
}

} // namespace rcin
