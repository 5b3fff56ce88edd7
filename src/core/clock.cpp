#include "core/clock.h"

#include <cerrno>
#include <ctime>

namespace fieldrelaybox {

namespace {

std::int64_t monotonic_ns() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

} // namespace

std::uint32_t millisecond_clock() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const auto seconds = static_cast<std::uint64_t>(now.tv_sec);
    const auto rounded_ms = static_cast<std::uint64_t>(now.tv_nsec + 500'000) / 1'000'000;
    return static_cast<std::uint32_t>(seconds * 1000 + rounded_ms);
}

std::int64_t timer_clock() {
    return monotonic_ns() / 1'000'000;
}

std::int64_t seconds_clock() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec;
}

LocalDateTime local_date_time() {
    const auto now = static_cast<std::time_t>(seconds_clock());
    tzset(); // follows a time zone that was changed while the daemon runs
    std::tm local{};
    if (localtime_r(&now, &local) == nullptr)
        return {};
    return {local.tm_mday, local.tm_mon + 1, local.tm_year + 1900,
            local.tm_hour, local.tm_min,     local.tm_sec};
}

void sleep_us(std::int64_t microseconds) {
    timespec rest{};
    rest.tv_sec = static_cast<std::time_t>(microseconds / 1'000'000);
    rest.tv_nsec = static_cast<long>(microseconds % 1'000'000) * 1000;
    while (clock_nanosleep(CLOCK_MONOTONIC, 0, &rest, &rest) == EINTR) {
    }
}

std::int64_t monotonic_us() {
    return monotonic_ns() / 1000;
}

void sleep_until_us(std::int64_t due) {
    timespec end{};
    end.tv_sec = static_cast<std::time_t>(due / 1'000'000);
    end.tv_nsec = static_cast<long>(due % 1'000'000) * 1000;
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
    }
}

void spin_us(std::int64_t microseconds) {
    const std::int64_t end = monotonic_ns() + microseconds * 1000;
    while (monotonic_ns() < end) {
    }
}

} // namespace fieldrelaybox
