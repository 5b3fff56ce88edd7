// Receivers on lines of a GPIO chip. device is "CHIP:LINE", for PWM "CHIP:LINE,LINE,...", the chip
// by name or label; or "edges:FILE", a recording in their place (edge_file.h).
#pragma once

#include "rcin/input.h"

namespace rcin {

Opened open_ppm(const std::string& device);
Opened open_pwm(const std::string& device);

} // namespace rcin
