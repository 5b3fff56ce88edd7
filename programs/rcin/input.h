// What a mode reads from: an opened device that frames come from. The loop polls it and knows
// nothing else of it.
#pragma once

#include "core/clock.h"
#include "rcin/frame.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace rcin {

using fieldrelaybox::never_us;

using TakeFrame = std::function<void(const Frame&)>;

struct Reading {
    bool gone = false;               // the device; the input is of no more use
    std::int64_t wake_us = never_us; // read is due then (monotonic clock), though nothing comes
};

struct Input {
    std::vector<int> descriptors; // readable when something has come
    // Takes what has come, without waiting, and hands over each valid frame that has new values.
    // now_us: the monotonic clock. Closes everything with its last copy.
    std::function<Reading(std::int64_t now_us, const TakeFrame& take)> read;
};

struct Opened {
    std::optional<Input> input;
    std::string fault; // why there is none, for the log
    std::string hint;  // what works less well than it should, for the log; usually empty
};

} // namespace rcin
