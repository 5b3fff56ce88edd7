#include "stream/repeats.h"

namespace stream {

std::optional<std::string> line_for(Told& told, std::int64_t now, const std::string& cause,
                                    const std::string& consequence) {
    constexpr std::int64_t repeat_ms = 60'000;
    const bool same = told.cause == cause;
    if (same && now - told.told_ms < repeat_ms) {
        ++told.untold;
        return std::nullopt;
    }
    const std::string times = same && told.untold > 0
                                  ? " (" + std::to_string(told.untold) + " times more meanwhile)"
                                  : "";
    told = {.cause = cause, .told_ms = now, .untold = 0, .awaits_recovery = false};
    return cause + "; " + consequence + times;
}

std::optional<std::int64_t> recovery_ms(const Told& told, std::int64_t started_ms) {
    constexpr std::int64_t long_enough_ms = 10'000;
    return told.awaits_recovery ? std::optional(started_ms + long_enough_ms) : std::nullopt;
}

} // namespace stream
