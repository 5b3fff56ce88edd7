// The calibration on the boot partition, and on its way there.
#pragma once

#include "config/calibration_paths.h"
#include "rcin/calibration.h"

#include <optional>
#include <string>
#include <string_view>

namespace rcin {

using fieldrelaybox::calibration_path;

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

// path names the file in the fault.
StoredCalibration parse_calibration(const std::string& path, std::string_view text,
                                    const Modes& modes);

// The one that waits for its way to the boot partition, which is newer, or else the one at path.
StoredCalibration read_calibration(const std::string& path, const Modes& modes);

// Has text put on the boot partition, without waiting for that. A failure is logged.
void store_calibration(const std::string& text);

// rcin --store-calibration: puts what store_calibration left waiting on the boot partition. Returns
// the exit status; what could not be put there goes on waiting.
int carry_calibration_to_boot();

} // namespace rcin
