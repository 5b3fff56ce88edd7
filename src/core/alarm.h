// Lets a thread with nothing to do sleep until somebody changed something.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace fieldrelaybox {

struct Alarm {
    std::mutex mutex; // short, guards rung
    std::condition_variable changed;
    bool rung = false;
};

// Rung behind each command that was performed, whichever way it came, and when a camera connects;
// the RC loop sleeps on it.
inline Alarm command_alarm;

inline void ring(Alarm& alarm) {
    {
        const std::lock_guard lock(alarm.mutex);
        alarm.rung = true;
    }
    alarm.changed.notify_one();
}

// Returns at the next ring, at once when there was one since it last returned, or when the time is
// over.
inline void await_ring(Alarm& alarm, std::chrono::milliseconds limit) {
    std::unique_lock lock(alarm.mutex);
    alarm.changed.wait_for(lock, limit, [&alarm] { return alarm.rung; });
    alarm.rung = false;
}

} // namespace fieldrelaybox
