// The calibration on the boot partition.
#pragma once

#include "rcin/calibration.h"

#include <optional>
#include <string>
#include <string_view>

namespace rcin {

inline constexpr const char* calibration_path = "/boot/rcin.cal";

// The words of the modes for which a calibration was learnt.
struct Modes {
    std::string_view rc1;
    std::string_view rc2;
};

std::string format_calibration(const Calibration& calibration, const Modes& modes);

struct StoredCalibration {
    std::optional<Calibration> calibration;
    std::string fault; // why the file that is there is not used, for the log; empty without a file
};

StoredCalibration read_calibration(const std::string& path, const Modes& modes);

// Has text put on the boot partition, without waiting for that.
void store_calibration(const std::string& text);

// rcin --store-calibration: puts what store_calibration left there on the boot partition. Returns
// the exit status.
int carry_calibration_to_boot();

} // namespace rcin
