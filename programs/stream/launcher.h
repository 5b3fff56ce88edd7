// Runs the program of one kind for as long as the settings want it, watches both and tells of them
// in the log. Entered by main.
#pragma once

#include "stream/kinds.h"

namespace stream {

// Returns the exit status once SIGTERM or SIGINT has come and the program has ended.
int run_launcher(const Kind& kind, Surroundings surroundings);

} // namespace stream
