#include "network/waiting.h"

#include "core/signal_sets.h"

#include <csignal>
#include <ctime>

namespace network {

bool is_ended_within(std::chrono::milliseconds time) {
    static const sigset_t signals = fieldrelaybox::hold_back_signals({SIGTERM, SIGINT});
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    const std::chrono::nanoseconds rest = time - seconds;
    const timespec limit{.tv_sec = static_cast<std::time_t>(seconds.count()),
                         .tv_nsec = static_cast<long>(rest.count())};
    static bool ended = false;
    ended = ended || sigtimedwait(&signals, nullptr, &limit) >= 0;
    return ended;
}

} // namespace network
