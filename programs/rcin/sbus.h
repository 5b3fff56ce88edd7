// SBUS: 25 bytes of sixteen channels and four flags, without a checksum; the line's parity stands
// in for one. All functions take any bytes.
#pragma once

#include "rcin/frame_collector.h"

namespace rcin {

extern const SerialProtocol sbus_protocol;

} // namespace rcin
