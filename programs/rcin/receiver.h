// What is known of a receiver at a time, from its frames and its device alone, and what the two
// receivers come to together.
#pragma once

#include "rcin/frame.h"

#include <array>
#include <cstdint>

namespace rcin {

// As in the status block.
enum class State : std::uint8_t {
    off,
    no_device,
    waiting, // for the first frame
    calibrating,
    lost,
    failsafe,
    good
};

// A receiver that has said nothing for so long is lost.
inline constexpr std::int64_t patience_us = 100'000;

struct Receiver {
    bool is_on = false;
    bool has_device = false;
    bool has_frame = false;    // one has come since the device was opened
    std::int64_t frame_us = 0; // when the last one came
    Frame frame;
};

void note_device(Receiver& receiver, bool there);
void note_frame(Receiver& receiver, const Frame& frame, std::int64_t now_us);

// Never calibrating.
State state_of(const Receiver& receiver, std::int64_t now_us);

// The same, but while learning a good receiver counts as calibrating.
State state_while(bool learning, const Receiver& receiver, std::int64_t now_us);

// When state_of changes by time alone; never_us when it does not.
std::int64_t loss_us(const Receiver& receiver, std::int64_t now_us);

struct Outcome {
    State state = State::off;
    Channels channels_us{}; // raw; all absent unless calibrating or good
};

// Calibrating wins, otherwise the better one counts.
Outcome combine(const Receiver& rc1, const Receiver& rc2, bool learning, std::int64_t now_us);

// Whether there are digital channels that combine has no place for.
bool leaves_digital_out(const Receiver& rc1, const Receiver& rc2);

} // namespace rcin
