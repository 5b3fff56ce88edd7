// IBUS: 32 bytes of fourteen channels with a checksum. All functions take any bytes.
#pragma once

#include "rcin/frame_collector.h"

namespace rcin {

extern const SerialProtocol ibus_protocol;

} // namespace rcin
