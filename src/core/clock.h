// The daemon's clocks. All time-outs are differences of two timer_clock readings, since the
// real-time clock is set while the daemon runs: a box has none of its own that outlasts a power
// cut. Unit tests link a clock of their own in place of clock.cpp.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>

namespace fieldrelaybox {

// Real-time clock in milliseconds, rounded to the nearest, as a wrapping 32-bit value: what other
// programs read. It jumps whenever somebody sets the clock.
std::uint32_t millisecond_clock();

// Milliseconds of a clock that only goes forward, wherever it began: what every time-out goes by.
std::int64_t timer_clock();

// Whether at least milliseconds of the timer clock lie between then and now.
constexpr bool has_passed(std::int64_t now, std::int64_t then, std::int64_t milliseconds) {
    return now - then >= milliseconds;
}

// When something that must not happen too often last happened.
struct Interval {
    std::optional<std::int64_t> last_ms;
};

// True at most once in that many milliseconds of the timer clock.
inline bool is_due(Interval& interval, std::int64_t now, std::int64_t milliseconds) {
    if (interval.last_ms && !has_passed(now, *interval.last_ms, milliseconds))
        return false;
    interval.last_ms = now;
    return true;
}

// Whole seconds of the real-time clock.
std::int64_t seconds_clock();

struct LocalDateTime {
    int day;    // 1..31
    int month;  // 1..12
    int year;   // full year
    int hour;   // 0..23
    int minute; // 0..59
    int second; // 0..60
};

// The current local date and time; year 0 when it cannot be told.
LocalDateTime local_date_time();

// Sleeps; interrupted sleeps are taken up again.
void sleep_us(std::int64_t microseconds);

// Looks every 10 ms whether condition holds. Returns false when it does not after time_limit_ms.
template<class Condition> bool wait_for_condition(int time_limit_ms, Condition&& condition) {
    constexpr int pause_ms = 10;
    for (int waited = 0; !condition(); waited += pause_ms) {
        if (waited >= time_limit_ms)
            return false;
        sleep_us(std::int64_t{pause_ms} * 1000);
    }
    return true;
}

// Waits on the monotonic clock without giving up the processor. For pauses of a few microseconds
// on the media path, where a sleep costs four times the pause in timer slack and wake-up.
void spin_us(std::int64_t microseconds);

// A time in microseconds that no clock reaches.
inline constexpr std::int64_t never_us = std::numeric_limits<std::int64_t>::max();

// A clock that only goes forward and does not count time in suspend, for steady schedules.
std::int64_t monotonic_us();

// Sleeps until monotonic_us reads due; returns at once when that is past.
void sleep_until_us(std::int64_t due);

// The time after previous that is a whole number of periods later and lies in the future: a steady
// schedule that leaves out what it missed.
constexpr std::int64_t next_due(std::int64_t previous, std::int64_t period, std::int64_t now) {
    const std::int64_t missed = now > previous ? (now - previous) / period : 0;
    return previous + (missed + 1) * period;
}

} // namespace fieldrelaybox
