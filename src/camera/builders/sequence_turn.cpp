#include "camera/builders/sequence_turn.h"

namespace fieldrelaybox {

void SequenceTurn::lock() {
    std::unique_lock lock(mutex_);
    await_turn(lock);
}

bool SequenceTurn::lock_unless_crowded() {
    std::unique_lock lock(mutex_);
    if (next_ticket_ - served_ticket_ > waiting_capacity) // one more has the turn
        return false;
    await_turn(lock);
    return true;
}

void SequenceTurn::await_turn(std::unique_lock<std::mutex>& lock) {
    const std::uint64_t ticket = next_ticket_++;
    turn_ended_.wait(lock, [this, ticket] { return served_ticket_ == ticket; });
}

void SequenceTurn::unlock() {
    {
        const std::lock_guard lock(mutex_);
        ++served_ticket_;
    }
    turn_ended_.notify_all();
}

SequenceTurn& sequence_turn() {
    static SequenceTurn turn;
    return turn;
}

} // namespace fieldrelaybox
