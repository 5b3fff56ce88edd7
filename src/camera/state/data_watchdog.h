// The watch over the camera data link.
#pragma once

#include <cstdint>

namespace fieldrelaybox {

// Notices that the camera went silent, publishes and posts the link state. Called on every
// supervisor pass.
void data_watchdog(std::int64_t now);

} // namespace fieldrelaybox
