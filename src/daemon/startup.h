// Start-up: prepares the records, starts every link and service in a fixed order, then runs the
// supervisor loop.
#pragma once

namespace fieldrelaybox {

// Returns only when the daemon cannot start: the exit status.
int run_daemon();

} // namespace fieldrelaybox
