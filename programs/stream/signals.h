// The signals that a launcher goes by, as a descriptor to be polled.
#pragma once

#include <csignal>

namespace stream {

// From now on SIGTERM, SIGINT, SIGHUP and SIGCHLD do nothing but make the descriptor readable.
// caller_mask: the signal mask before, for children. Returns -1, with errno, when there is none to
// be had.
int open_signals(sigset_t& caller_mask);

// Takes what has come; true when some of it asks this process to end.
bool take_signals(int descriptor);

} // namespace stream
