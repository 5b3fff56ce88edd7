#include "rcin/pulse_inputs.h"

namespace rcin {

Opened open_ppm(const std::string& /*device*/) {
    return {.input = {}, .fault = "not built yet", .hint = {}};
}

Opened open_pwm(const std::string& /*device*/) {
    return {.input = {}, .fault = "not built yet", .hint = {}};
}

} // namespace rcin
