#include "unit/test_clock.h"

#include "core/clock.h"

#include <atomic>
#include <mutex>
#include <thread>
#include <utility>

namespace test_clock {

std::function<void()> on_wait;

namespace {
std::atomic<std::int64_t> now_us{3'900'000'000'000}; // as today: above 2^31 milliseconds
std::mutex mutex;
std::vector<std::int64_t> waits;

void wait(std::int64_t microseconds) {
    if (on_wait)
        on_wait();
    now_us += microseconds;
    const std::lock_guard lock(mutex);
    waits.push_back(microseconds);
}
} // namespace

std::vector<std::int64_t> take_waits() {
    const std::lock_guard lock(mutex);
    return std::exchange(waits, {});
}

void begin_next_day() {
    now_us += std::int64_t{86'400} * 1'000'000;
}

} // namespace test_clock

namespace fieldrelaybox {

std::uint32_t millisecond_clock() {
    return static_cast<std::uint32_t>(test_clock::now_us / 1000);
}

std::int64_t timer_clock() {
    return test_clock::now_us / 1000;
}

std::int64_t seconds_clock() {
    return test_clock::now_us / 1'000'000;
}

LocalDateTime local_date_time() {
    return {.day = 31, .month = 12, .year = 2026, .hour = 23, .minute = 59, .second = 60};
}

std::int64_t monotonic_us() {
    return test_clock::now_us;
}

void sleep_us(std::int64_t microseconds) {
    test_clock::wait(microseconds);
    std::this_thread::yield();
}

void spin_us(std::int64_t microseconds) {
    test_clock::wait(microseconds);
}

void sleep_until_us(std::int64_t due) {
    test_clock::wait(due - test_clock::now_us);
}

} // namespace fieldrelaybox
