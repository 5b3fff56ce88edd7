// Lanes for work that waits: for the card, for a script, between the frames of a button. Each lane
// does its work in the order it was given, in a thread that it has while there is some; no lane
// waits for another, and nobody waits for a lane.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace fieldrelaybox {

// Jobs that wait in one lane at most, besides the one under way.
inline constexpr std::size_t lane_capacity = 12;

struct LaneJob {
    std::string kind; // a waiting job of the same kind gives way to this one; "": none does
    std::function<void()> run; // an exception ends this job only
    bool is_command = true;    // counts among the commands merged and dropped
};

// Puts job behind those that wait in the lane called name, which is also its thread's (15
// characters show). Returns false when the lane is full: the job is dropped, logged and counted.
bool add_job(const std::string& lane, LaneJob job);

// Starts what waits without a thread, since the system could start none then.
void resume_lanes();

// Waits until no lane, but the caller's own, has work. Returns false when some still has after
// time_limit_ms.
bool await_lanes(int time_limit_ms);

} // namespace fieldrelaybox
