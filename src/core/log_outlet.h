// Where the lines of the log go, standard error or standard output: whoever does not read them
// holds up nobody. Entered by the log.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string_view>

namespace fieldrelaybox {

// Longer lines are cut: with its priority, the note of its length, its line feed and a notice of
// lost lines a line is short enough for a pipe to take it whole or not at all.
inline constexpr std::size_t longest_log_line = 3900;
inline constexpr std::size_t longest_log_output = 4096;

enum class OutletKind : std::uint8_t {
    asked,  // it is asked before each line whether it has room
    socket, // each sending says that it must not wait
    own,    // a description of our own that does not wait; children share the original
};

struct LogOutlet {
    int descriptor;
    std::size_t longest_line; // characters
    OutletKind kind = OutletKind::asked;
    std::mutex mutex{}; // guards the rest, and keeps lines whole; nothing waits while it is held
    std::array<char, longest_log_output> rest{}; // of a line that a terminal took in part
    std::size_t rest_size = 0;
    std::uint64_t untold = 0; // lines lost since this was last told
};

// Finds out how to write there without waiting. Before, the outlet is asked.
void open_log_outlet(LogOutlet& outlet);

// Writes line, which ends with a line feed, in a single write, and before it, when lines were lost,
// how many, in a line that starts with notice_prefix. What cannot be written now is lost and
// counted.
void write_log_line(LogOutlet& outlet, std::string_view notice_prefix, std::string_view line);

// Writes what waits for the next line, the rest of one and how many were lost, if that can be now.
void flush_log_outlet(LogOutlet& outlet, std::string_view notice_prefix);

} // namespace fieldrelaybox
