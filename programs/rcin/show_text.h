// What rcin --show shows, as text.
#pragma once

#include "fieldrelaybox/shared_memory.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace rcin {

// What has been seen of a channel, to tell which one the pilot is moving.
struct WatchedChannel {
    std::uint16_t rest_us = 0; // where it was when it last moved
    std::int64_t moved_us = 0; // when that was, by the monotonic clock; 0: never
};

struct Watched {
    std::array<WatchedChannel, FIELDRELAYBOX_RC_CHANNELS> channels{};
    std::optional<std::uint8_t> heartbeat;
    std::int64_t heartbeat_us = 0; // when it last changed; 0: never
};

// Takes what the status block says now.
void watch(Watched& watched, const StatusBlock& block, std::int64_t now_us);

// The state in words, and a line for each channel that is there or has a function: number, value,
// bar, function, and a mark when it has just moved. The lines end with "\n".
std::string screen_text(const Watched& watched, const StatusBlock& block, std::int64_t now_us);

// The first lines of such a text that a terminal of that size has room for, long ones broken, and
// how many channels are left out.
std::string fitting_text(const std::string& screen, std::size_t rows, std::size_t columns);

// The same in one line, for files and pipes.
std::string line_text(const Watched& watched, const StatusBlock& block, std::int64_t now_us);

} // namespace rcin
