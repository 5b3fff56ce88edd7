// The gimbal attitude that the camera pushes about ten times a second.
#pragma once

#include "core/bytes.h"

namespace fieldrelaybox {

// Writes the attitude of a 25-byte frame into the status block and posts it to the apps (codes 0,
// 10 and 8). Called by the telemetry receiver alone.
void decode_gimbal_attitude(Bytes frame);

} // namespace fieldrelaybox
