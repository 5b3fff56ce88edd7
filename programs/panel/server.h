// The web side: HTTP, WebSocket and the loop that everything runs in.
#pragma once

#include "panel/hub.h"
#include "panel/options.h"

namespace panel {

// Serves until SIGTERM or SIGINT. The status to end with; what cannot be done is told on standard
// error.
int serve(const Options& options, Hub& hub);

} // namespace panel
