// Starting threads. Nothing waits for a thread and none is ever stopped.
#pragma once

#include "core/clock.h"
#include "core/exit_status.h"
#include "core/log.h"

#include <atomic>
#include <cstdlib>
#include <exception>
#include <optional>
#include <pthread.h>
#include <thread>
#include <utility>

namespace fieldrelaybox {

// Those started here whose body has not ended, with all that it held. Tests wait for it before they
// take away what a thread uses.
inline std::atomic<int> running_threads{0};

// Runs body in a detached thread called name (at most 15 characters). No exception leaves the
// thread: one that reaches its end is logged and ends the thread. Returns false, logged, when the
// system cannot start a thread now.
template<class Body> bool start_thread(const char* name, Body body) {
    running_threads.fetch_add(1);
    try {
        std::thread([name, body = std::optional<Body>(std::move(body))]() mutable {
            pthread_setname_np(pthread_self(), name);
            try {
                (*body)();
            } catch (const std::exception& error) {
                log_error("thread %s ended: %s", name, error.what());
            }
            body.reset();
            running_threads.fetch_sub(1);
        }).detach();
    } catch (const std::exception& error) {
        running_threads.fetch_sub(1);
        log_error("cannot start thread %s: %s", name, error.what());
        return false;
    }
    return true;
}

// Runs body, which must not end, in a thread called name. The box is of no use without one of its
// services: when the thread cannot be started, or ends, so does the process, with a line that says
// so, and whatever started it starts it again.
template<class Body> void start_service(const char* name, Body body) {
    const auto give_up = [name] {
        log_error("the daemon ends: it cannot do without the thread %s", name);
        std::_Exit(exit_unable);
    };
    const bool started = start_thread(name, [name, give_up, body = std::move(body)]() mutable {
        try {
            body();
        } catch (const std::exception& error) {
            log_error("thread %s: %s", name, error.what());
        }
        give_up();
    });
    if (!started)
        give_up();
}

// One step of a service's loop: an exception, such as one for want of memory, costs this step and
// not the service.
template<class Step> void run_guarded(const char* name, Step&& step) {
    try {
        step();
    } catch (const std::exception& error) {
        log_error("%s: %s", name, error.what());
        sleep_us(100'000);
    }
}

} // namespace fieldrelaybox
