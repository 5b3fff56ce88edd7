// Where the RC calibration is: kept on the boot partition, and on its way there. rcin writes it,
// the daemon removes it when an app wants it anew.
#pragma once

namespace fieldrelaybox {

inline constexpr const char* calibration_path = "/boot/rcin.cal"; // may be a link

// Only /run is writable for rcin; what waits there is newer than what is on the boot partition.
inline constexpr const char* waiting_calibration_folder = "/run/fieldrelaybox-rcin";
inline constexpr const char* waiting_calibration_path = "/run/fieldrelaybox-rcin/rcin.cal";
inline constexpr const char* fresh_calibration_path = "/run/fieldrelaybox-rcin/rcin.cal.new";

} // namespace fieldrelaybox
