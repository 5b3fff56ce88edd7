#include "rcin/serial_input.h"

namespace rcin {

Opened open_sbus(const std::string& /*device*/) {
    return {.input = {}, .fault = "not built yet", .hint = {}};
}

Opened open_crsf(const std::string& /*device*/) {
    return {.input = {}, .fault = "not built yet", .hint = {}};
}

Opened open_ibus(const std::string& /*device*/) {
    return {.input = {}, .fault = "not built yet", .hint = {}};
}

} // namespace rcin
