// Receivers on a serial line. device is its path.
#pragma once

#include "rcin/input.h"

namespace rcin {

Opened open_sbus(const std::string& device);
Opened open_crsf(const std::string& device);
Opened open_ibus(const std::string& device);

} // namespace rcin
