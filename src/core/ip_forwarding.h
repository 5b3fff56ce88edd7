// Forwarding of the system's IP packets, which costs the video time.
#pragma once

namespace fieldrelaybox {

// Switches it on or off; a system that does not let this process do so is told by the shell on
// standard error.
void set_ip_forwarding(bool on);

} // namespace fieldrelaybox
