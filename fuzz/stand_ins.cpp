#include "fuzz/stand_ins.h"

#include "core/clock.h"
#include "core/shell.h"

#include <algorithm>
#include <atomic>

std::string tool_output;

namespace fieldrelaybox {

namespace {

std::atomic<std::int64_t> now_us{3'900'000'000'000}; // as today: above 2^31 milliseconds

} // namespace

std::uint32_t millisecond_clock() {
    return static_cast<std::uint32_t>(now_us / 1000);
}

std::int64_t timer_clock() {
    return now_us / 1000;
}

std::int64_t seconds_clock() {
    return now_us / 1'000'000;
}

LocalDateTime local_date_time() {
    return {.day = 31, .month = 12, .year = 2026, .hour = 23, .minute = 59, .second = 60};
}

std::int64_t monotonic_us() {
    return now_us;
}

void sleep_us(std::int64_t microseconds) {
    now_us += microseconds;
}

void spin_us(std::int64_t microseconds) {
    now_us += microseconds;
}

void sleep_until_us(std::int64_t due) {
    now_us = due;
}

int run_shell_command(const char* /*command*/) {
    return 0;
}

int run_shell_command(const char* /*command*/, int /*time_limit_ms*/, Complaints /*complaints*/) {
    return 0;
}

int query_shell_command(const char* /*command*/, std::size_t line_limit, int /*time_limit_ms*/,
                        const std::function<void(std::string_view)>& on_line) {
    for (std::string_view rest = tool_output; !rest.empty();) {
        const std::size_t line = std::min(rest.find('\n'), rest.size() - 1) + 1;
        const std::size_t length = std::min(line, line_limit);
        on_line(rest.substr(0, length));
        rest.remove_prefix(length);
    }
    return 0;
}

} // namespace fieldrelaybox
