// How the daemon ends when it is asked to: with everything saved that was asked for before.
#pragma once

#include "config/config_saving.h"

namespace fieldrelaybox {

// How long whatever ends the process or the box waits for saves.
inline constexpr int save_patience_ms = 5000;

// Ends the process with the exit status when what was requested up to ticket is saved, or after
// save_patience_ms, and what the saves had run has begun, or half a second later.
[[noreturn]] void end_process(int exit_status, SaveTicket ticket);

// From now on SIGTERM and SIGINT end the process in this way, with exit status 0. To be called
// before there is another thread.
void start_waiting_for_signals();

} // namespace fieldrelaybox
