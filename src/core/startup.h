// Start-up: prepares the records, starts every link and service in a fixed order, then runs the
// supervisor loop. startup.cpp and supervisor.cpp are the only files of this room that look at the
// other rooms: they put the daemon together.
#pragma once

namespace fieldrelaybox {

// Returns only when the shared memory cannot be prepared (exit status 1).
int run_daemon();

} // namespace fieldrelaybox
