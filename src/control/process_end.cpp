#include "control/process_end.h"

#include "control/command_queue.h"
#include "core/clock.h"
#include "core/lanes.h"
#include "core/log.h"
#include "core/service_manager.h"
#include "core/threads.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <unistd.h>

namespace fieldrelaybox {

namespace {

constexpr int commands_patience_ms = 500;
constexpr std::int64_t arrival_time_us = 20'000; // of a datagram that waits at a socket

// What came before is saved, too, although it may still wait for its turn; a command that hangs
// does not hold up the end.
SaveTicket ticket_of_all_commands() {
    static std::atomic<bool> performed{false};
    sleep_us(arrival_time_us);
    queue_command([] { performed = true; });
    for (int waited = 0; !performed && waited < commands_patience_ms; waited += 10)
        sleep_us(10'000);
    return last_save_request();
}

sigset_t stop_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    return signals;
}

} // namespace

// Other threads keep running to the last instruction, so no destructor may run under them.
void end_process(int exit_status, SaveTicket ticket) {
    finish_saving(ticket, save_patience_ms);
    await_lanes(commands_patience_ms);
    std::fflush(nullptr);
    _exit(exit_status);
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
        end_process(0, ticket_of_all_commands());
    });
}

} // namespace fieldrelaybox
