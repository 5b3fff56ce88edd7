// The supervisor loop: one pass every 3 seconds on the main thread, for ever.
#pragma once

#include "fieldrelaybox/shared_memory.h"

#include <cstdint>

namespace fieldrelaybox {

struct Supervisor {
    std::int32_t pass_count = 0;
    ConfigRecord* mirror = nullptr; // /config_mem; null skips the copy
};

// One pass: watchdogs, sweep, keep-alive, probe, Wi-Fi status, status records, mirror.
void run_supervisor_pass(Supervisor& supervisor);

[[noreturn]] void run_supervisor(Supervisor& supervisor);

} // namespace fieldrelaybox
