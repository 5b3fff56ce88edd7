#include "core/lanes.h"

#include "core/clock.h"
#include "core/log.h"
#include "core/log_senders.h"
#include "core/statistics.h"
#include "core/threads.h"

#include <algorithm>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <utility>

namespace fieldrelaybox {

namespace {

struct Lane {
    std::deque<LaneJob> waiting;
    bool has_thread = false;
    LogLimit drops;
};

std::mutex lanes_mutex; // short, guards everything in lanes; a lane once there stays
std::map<std::string, Lane> lanes;

thread_local const Lane* lane_of_this_thread = nullptr;

// The lane's thread ends when there is nothing.
std::optional<LaneJob> take_job(Lane& lane) {
    const std::lock_guard lock(lanes_mutex);
    lane.has_thread = !lane.waiting.empty();
    if (!lane.has_thread)
        return std::nullopt;
    std::optional<LaneJob> next = std::move(lane.waiting.front());
    lane.waiting.pop_front();
    return next;
}

void run_jobs(const char* name, Lane& lane) {
    lane_of_this_thread = &lane;
    while (const std::optional<LaneJob> job = take_job(lane))
        run_guarded(name, job->run);
}

// lanes_mutex is held. Without a thread the jobs wait for resume_lanes.
void start_lane(const std::string& name, Lane& lane) {
    if (!lane.has_thread && !lane.waiting.empty())
        lane.has_thread =
            start_thread(name.c_str(), [&name, &lane] { run_jobs(name.c_str(), lane); });
}

// lanes_mutex is held. What is asked for now is newer than what waits.
void remove_kind(Lane& lane, const LaneJob& newer) {
    const auto removed = std::erase_if(lane.waiting, [&newer](const LaneJob& job) {
        return !newer.kind.empty() && job.kind == newer.kind;
    });
    if (newer.is_command)
        count(statistics().commands_merged, removed);
}

} // namespace

bool add_job(const std::string& lane_name, LaneJob job) {
    const std::lock_guard lock(lanes_mutex);
    const auto place = lanes.try_emplace(lane_name).first;
    Lane& lane = place->second;
    remove_kind(lane, job);
    if (lane.waiting.size() == lane_capacity) {
        count(statistics().commands_dropped);
        log_limited_warning(lane.drops, timer_clock(),
                            "%s: command dropped, %zu others wait for their turn",
                            lane_name.c_str(), lane_capacity);
        return false;
    }
    job.run = command_for_log_sender(std::move(job.run));
    lane.waiting.push_back(std::move(job));
    start_lane(place->first, lane);
    return true;
}

void resume_lanes() {
    const std::lock_guard lock(lanes_mutex);
    for (auto& [name, lane] : lanes)
        start_lane(name, lane);
}

bool await_lanes(int time_limit_ms) {
    return wait_for_condition(time_limit_ms, [] {
        const std::lock_guard lock(lanes_mutex);
        return std::ranges::none_of(lanes, [](const auto& entry) {
            return entry.second.has_thread && &entry.second != lane_of_this_thread;
        });
    });
}

} // namespace fieldrelaybox
