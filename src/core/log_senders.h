// Who a line of the log is written for, and how much each sender may log: nobody can fill the log,
// or use up the allowance of another. Entered by whoever takes what comes from outside.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

namespace fieldrelaybox {

// What the lines are about. Each sender has an allowance for each.
enum class LogKind : std::uint8_t {
    presence, // who comes, goes, or sends from elsewhere; the format of what is sent
    command,
    test_datagram,
};

// From now on the calling thread logs for the sender with this IPv4 address (as in sin_addr); 0:
// for the daemon itself, which has no limit. The lines are about its presence.
void set_log_sender(std::uint32_t address);

void set_log_kind(LogKind kind);

// A command's body, which logs for the sender for whom the calling thread does, in whatever thread
// it runs.
std::function<void()> command_for_log_sender(std::function<void()> body);

// Whether the calling thread may write a line now; false when its sender has used up the allowance,
// and then the line is counted as left out.
bool take_log_allowance();

struct LinesLeftOut {
    std::uint32_t address; // 0: of all senders that had no allowance of their own
    std::uint32_t count;
};

// Whose lines were left out since the last call.
std::vector<LinesLeftOut> take_lines_left_out();

} // namespace fieldrelaybox
