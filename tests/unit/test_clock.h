// Stands in for core/clock.cpp: a clock that goes on by the waits alone, which take no time.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

namespace test_clock {

// The waits since the last call, in microseconds.
std::vector<std::int64_t> take_waits();

// When set, called in each wait.
extern std::function<void()> on_wait;

// What happened less than a day ago does not hold back what a test does.
void begin_next_day();

} // namespace test_clock
