// Forwarding of the system's IP packets, which costs the video time.
#pragma once

namespace fieldrelaybox {

// Switches it on or off in a lane of its own, so that no caller waits; of those that wait there the
// newest counts. A system that does not let this process do so is told by the shell on standard
// error.
void set_ip_forwarding(bool on);

} // namespace fieldrelaybox
