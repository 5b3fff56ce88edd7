#include "rcin/calibration_file.h"

#include "core/exit_status.h"

namespace rcin {

std::string format_calibration(const Calibration& /*calibration*/, const Modes& /*modes*/) {
    return {};
}

StoredCalibration read_calibration(const std::string& /*path*/, const Modes& /*modes*/) {
    return {};
}

void store_calibration(const std::string& /*text*/) {}

int carry_calibration_to_boot() {
    return fieldrelaybox::exit_unable;
}

} // namespace rcin
