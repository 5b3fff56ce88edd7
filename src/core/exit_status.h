// The statuses with which the daemon ends by itself; systemd, start scripts and people go by them.
#pragma once

namespace fieldrelaybox {

inline constexpr int exit_unable = 1;            // something it cannot do without is not to be had
inline constexpr int exit_wrong_usage = 2;       // of its arguments
inline constexpr int exit_already_running = 100; // another daemon, or another program at port 4242

} // namespace fieldrelaybox
