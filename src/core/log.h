// The log: one plain line per event on standard error; a few lines on standard output.
#pragma once

#include <atomic>
#include <cstdint>

namespace fieldrelaybox {

// Write one line (printf format, without the line feed) to standard error in a single write. The
// three look alike, but in systemd's journal each has its priority: an error is a part of the box
// that does not work, a warning something that was left out or given up, a line everything else.
[[gnu::format(printf, 1, 2)]] void log_line(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void log_warning(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void log_error(const char* format, ...);

// Writes one line to standard output in a single write.
[[gnu::format(printf, 1, 2)]] void print_line(const char* format, ...);

// For events that can repeat endlessly: lets one line through per second.
struct LogLimit {
    std::atomic<bool> used{false};
    std::atomic<std::uint32_t> last_ms{0};
};

// True when the line guarded by limit may be logged now (millisecond clock).
bool may_log(LogLimit& limit, std::uint32_t now);

} // namespace fieldrelaybox
