#include "control/command_queue.h"

#include "core/alarm.h"
#include "core/clock.h"
#include "core/life_signs.h"
#include "core/log.h"
#include "core/log_senders.h"
#include "core/statistics.h"
#include "core/threads.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <utility>

namespace fieldrelaybox {

namespace {

using Command = std::function<void()>;

constexpr std::chrono::seconds longest_wait{1}; // shows life that often

std::mutex queue_mutex; // short, guards queue
std::condition_variable arrival;
std::deque<Command> queue;

// queue_mutex is held.
void drop_oldest() {
    queue.pop_front();
    count(statistics().commands_dropped);
    log_limited_warning(log_limits().command_dropped, timer_clock(),
                        "command dropped: %zu newer ones wait", command_queue_capacity);
}

Command take_oldest(std::unique_lock<std::mutex>& lock) {
    Command next = std::move(queue.front());
    queue.pop_front();
    lock.unlock();
    return next;
}

void perform_next() {
    show_life(Vital::commands);
    std::unique_lock lock(queue_mutex);
    if (!arrival.wait_for(lock, longest_wait, [] { return !queue.empty(); }))
        return;
    const Command command = take_oldest(lock);
    try {
        command();
    } catch (...) { // it may have done half
        ring(command_alarm);
        throw;
    }
    ring(command_alarm);
}

bool is_waiting() {
    const std::lock_guard lock(queue_mutex);
    return !queue.empty();
}

} // namespace

void queue_command(std::function<void()> perform) {
    {
        const std::lock_guard lock(queue_mutex);
        if (queue.size() == command_queue_capacity)
            drop_oldest();
        queue.push_back(command_for_log_sender(std::move(perform)));
    }
    arrival.notify_one();
}

void perform_queued_commands() {
    while (is_waiting())
        run_guarded("commands", perform_next);
}

void start_command_thread() {
    start_service("commands", [] {
        while (true)
            run_guarded("commands", perform_next);
    });
}

} // namespace fieldrelaybox
