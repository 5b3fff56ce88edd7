// Start-up: prepares the records, starts every link and service in a fixed order, then runs the
// supervisor loop.
#pragma once

namespace fieldrelaybox {

// Returns only when the shared memory cannot be prepared (exit status 1).
int run_daemon();

} // namespace fieldrelaybox
