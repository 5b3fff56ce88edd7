// The RC loop: turns RC channel values and the channel-function table into camera and gimbal
// commands, and carries on the moves that an app has begun.
#pragma once

#include "rc/rc_state.h"

#include <cstdint>

namespace fieldrelaybox {

inline constexpr std::int64_t rc_period_us = 20'000;

// Starts the thread "rc-loop": a step every 20 ms, four a second while there is nothing to do.
// Called once by init_data_source.
void start_rc_loop();

// A snapshot of the shared records.
RcInputs read_rc_inputs(std::int64_t now);

} // namespace fieldrelaybox
