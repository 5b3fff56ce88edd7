// What the panel knows as numbers, in the text format of Prometheus.
#pragma once

#include "panel/hub_state.h"

#include <cstdint>
#include <string>

namespace panel {

// web_connections: open ones, of all kinds. The counters of the daemon are among them when its
// statistics are on this computer.
std::string metrics_text(const Hub& hub, std::size_t web_connections, std::int64_t now_us);

} // namespace panel
