// How the program waits. Entered by making, judgement and enforcement.
#pragma once

#include <chrono>

namespace network {

// Whether the program was asked to end meanwhile. It goes through with what it began, and ends
// where it only waits.
bool is_ended_within(std::chrono::milliseconds time);

} // namespace network
