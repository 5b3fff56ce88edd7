// Game pads and joysticks. device is a path below /dev/input, or "auto" for the first one there is.
#pragma once

#include "rcin/input.h"

namespace rcin {

Opened open_pad(const std::string& device);

} // namespace rcin
