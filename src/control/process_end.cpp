#include "control/process_end.h"

#include "control/command_queue.h"
#include "core/clock.h"
#include "core/lanes.h"
#include "core/log.h"
#include "core/service_manager.h"
#include "core/threads.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <unistd.h>

namespace fieldrelaybox {

namespace {

constexpr int lanes_patience_ms = 500;
constexpr std::int64_t arrival_time_us = 20'000; // of a datagram that waits at a socket

// What came before is to be saved, too, although it may still wait for its turn. Returns how much
// of the time limit is left.
int await_commands(int time_limit_ms) {
    static std::atomic<bool> performed{false};
    const std::int64_t begun_ms = timer_clock();
    sleep_us(arrival_time_us);
    queue_command([] { performed = true; });
    wait_for_condition(time_limit_ms, [] { return performed.load(); });
    return static_cast<int>(std::max<std::int64_t>(0, begun_ms + time_limit_ms - timer_clock()));
}

// Other threads keep running to the last instruction, so no destructor may run under them, and
// nothing may be flushed that one of them uses.
[[noreturn]] void end_when_saved(int exit_status, SaveTicket ticket, int time_limit_ms) {
    finish_saving(ticket, time_limit_ms);
    await_lanes(lanes_patience_ms);
    _exit(exit_status);
}

sigset_t stop_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    return signals;
}

} // namespace

void end_process(int exit_status, SaveTicket ticket) {
    end_when_saved(exit_status, ticket, save_patience_ms);
}

void start_waiting_for_signals() {
    const sigset_t signals = stop_signals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr); // in all threads, which inherit it
    start_service("signals", [signals] {
        int number = 0;
        while (sigwait(&signals, &number) != 0)
            continue;
        pthread_sigmask(SIG_UNBLOCK, &signals, nullptr); // a second one ends it at once
        log_line("ending: signal %d", number);
        announce_stopping();
        const int left_ms = await_commands(save_patience_ms);
        end_when_saved(0, last_save_request(), left_ms);
    });
}

} // namespace fieldrelaybox
