// What the service manager is told, where one started the daemon and asks for it. Without one
// nothing is sent and nothing fails.
#pragma once

namespace fieldrelaybox {

// How long the service manager waits for a feeding before it starts the daemon anew; the unit says
// the same.
inline constexpr int watchdog_ms = 30'000;

// The services run.
void announce_ready();

// The daemon was asked to end and is about to.
void announce_stopping();

// The daemon is alive.
void feed_watchdog();

} // namespace fieldrelaybox
