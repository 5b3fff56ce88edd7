// The boot partition, where the settings live as a file: remounted to be written, and mounted anew
// afterwards.
#pragma once

#include <string>

namespace fieldrelaybox {

// The master file on the boot partition. Only tests put it elsewhere.
inline const char* config_file_path = "/boot/fieldrelaybox.conf";

// For each shell command at the boot partition: one that hangs must not hold up all later saves.
inline constexpr int boot_command_time_limit_ms = 10'000;

// Writes text to config_file_path and refreshes "/run/fieldrelaybox.conf". Returns false, logged,
// when the file does not hold the whole text; one that cannot be opened stays as it was.
bool write_settings_to_boot(const std::string& text);

} // namespace fieldrelaybox
