// CRSF: frames of many types with a CRC, of which one has the channels. All functions take any
// bytes.
#pragma once

#include "rcin/frame_collector.h"

namespace rcin {

extern const SerialProtocol crsf_protocol;

} // namespace rcin
