// The one program that a launcher runs: starting it, hearing what it says, ending it. It leads a
// process group of its own and never outlives the launcher.
#pragma once

#include "stream/kinds.h"
#include "stream/supervision.h"

#include <csignal>
#include <functional>
#include <string>
#include <string_view>
#include <sys/types.h>

namespace stream {

struct Child {
    pid_t process = -1; // none
    int errors = -1;    // its standard error, to be read without waiting
    std::string line;   // of that, unfinished
};

// Starts command with the signal mask of the launcher's caller. A program that cannot be run ends
// at once and says why on its standard error. Returns false, told to the log, when there are no
// processes or descriptors to be had.
bool start_child(Child& child, const Command& command, const sigset_t& mask);

// Hands what the child has said so far to on_line, line by line and without line feeds; a long line
// is cut. Closes child.errors at its end.
void read_errors(Child& child, const std::function<void(std::string_view)>& on_line);

// Closes what is left of one that has ended.
void forget_child(Child& child);

// To the child and all that it started.
void signal_child(const Child& child, int signal_number);

// How a child ended.
struct ChildEnd {
    Ending ending;
    std::string words; // "ended with status 1", "ended by signal 9"
};

// Takes the child's end and ends what it left behind. False while it goes on. complained: whether
// it had told of a failure.
bool take_end(Child& child, bool complained, ChildEnd& end);

} // namespace stream
