// The log: one plain line per event on standard error; a few lines on standard output.
#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>

namespace fieldrelaybox {

// Called once at the start: from then on a line never waits for whoever reads the log. Lines that
// nobody reads are lost, counted, and told of when somebody reads again.
void open_log();

// Write one line (printf format, without the line feed) to standard error in a single write. The
// three look alike, but in systemd's journal each has its priority: an error is a part of the box
// that does not work, a warning something that was left out or given up, a line everything else.
// Control characters, a line feed too, and bytes that are no UTF-8 are shown as \xNN; beyond 1,000
// characters a line is cut and tells its length. Each sender has a limit (core/log_senders.h).
[[gnu::format(printf, 1, 2)]] void log_line(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void log_warning(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void log_error(const char* format, ...);

// Writes one line to standard output in the same way, but cut beyond 3,900 characters only and
// without limit for a sender: nobody keeps those.
[[gnu::format(printf, 1, 2)]] void print_line(const char* format, ...);

// Writes a text of the daemon's own to standard output as it is, and a line feed.
void print_own_line(std::string_view line);

// Tells of what senders had no allowance for since the last call.
void tell_lines_left_out();

// Tells of lines that nobody read, once somebody does, without waiting for the next line.
void flush_log();

// For events that can repeat endlessly: one limit per kind of line.
struct LogLimit {
    std::atomic<bool> used{false};
    std::atomic<std::int64_t> last_ms{0};
    std::atomic<std::uint32_t> left_out{0}; // since the last line
};

// What can repeat endlessly, process-wide.
struct LogLimits {
    LogLimit command_cut;
    LogLimit command_dropped;
};

LogLimits& log_limits();

// A warning of which at most one per second (timer clock) is written. It tells how many like
// it were left out since the last one.
[[gnu::format(printf, 3, 4)]] void log_limited_warning(LogLimit& limit, std::int64_t now,
                                                       const char* format, ...);

} // namespace fieldrelaybox
