// The turn of the commands that sleep between their frames.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace fieldrelaybox {

// Turns are given in the order in which they were asked for.
class SequenceTurn {
public:
    static constexpr int waiting_capacity = 12;

    void lock();
    // False, at once and without the turn, while waiting_capacity others wait for it.
    bool lock_unless_crowded();
    void unlock();

private:
    void await_turn(std::unique_lock<std::mutex>& lock);

    std::mutex mutex_; // guards the rest
    std::condition_variable turn_ended_;
    std::uint64_t next_ticket_ = 0;
    std::uint64_t served_ticket_ = 0; // next_ticket_ when nobody has the turn
};

// Held by a command that sleeps between its frames, so that the frames of two such commands do not
// mix. The only lock of the camera room that is held across sleeps.
SequenceTurn& sequence_turn();

} // namespace fieldrelaybox
