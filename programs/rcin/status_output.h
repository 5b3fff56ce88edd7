// The status block, which the daemon makes and may replace: what the receivers come to is written
// there.
#pragma once

#include "fieldrelaybox/shared_memory.h"
#include "rcin/frame.h"
#include "rcin/receiver.h"

#include <cstdint>
#include <string>

namespace rcin {

struct StatusOutput {
    StatusBlock* block = nullptr; // null while there is none
    int descriptor = -1;          // of the mapped region
    std::uint8_t heartbeat = 0;
    std::int64_t look_due_us = 0;
    std::string fault; // the last one that was told

    StatusOutput() = default;
    StatusOutput(const StatusOutput&) = delete;
    StatusOutput& operator=(const StatusOutput&) = delete;
    StatusOutput(StatusOutput&&) = delete;
    StatusOutput& operator=(StatusOutput&&) = delete;
    ~StatusOutput(); // unmaps; what stands there stays
};

// Looks now and then whether the region is there, and still the same; at once when the one that is
// mapped has been removed. Call it before each write.
void follow_status_block(StatusOutput& output, std::int64_t now_us);

// Writes state and channels, which other programs read at any time.
void write_outcome(StatusOutput& output, const Outcome& outcome);

// The sign of life.
void beat(StatusOutput& output);

} // namespace rcin
