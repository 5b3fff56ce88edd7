// Commands take effect one after the other in the order in which they came, whichever entrance they
// came through: apps, the relay, the command field. What is queued must be quick: a frame, a field,
// a flag; what waits goes into a lane (core/lanes.h).
#pragma once

#include <cstddef>
#include <functional>

namespace fieldrelaybox {

// Commands that wait at most. They take microseconds each, unless the camera is out of reach: then
// each of its frames waits up to 100 ms.
inline constexpr std::size_t command_queue_capacity = 1024;

// Puts perform behind those that wait. Never waits for one. When the queue is full the oldest is
// dropped, logged and counted: a stop that comes last is worth more than the moves before it.
void queue_command(std::function<void()> perform);

// Performs what waits, in the calling thread. Used by tests; the daemon has a thread for it.
void perform_queued_commands();

// Starts the thread that performs commands from now on.
void start_command_thread();

} // namespace fieldrelaybox
