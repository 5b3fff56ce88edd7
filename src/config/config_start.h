// How the configuration record comes to its first content. Entered by start-up,
// and by the other programs of the box for the settings in a file.
#pragma once

#include "fieldrelaybox/shared_memory.h"

#include <optional>
#include <string>

namespace fieldrelaybox {

// In the working directory.
inline constexpr const char* config_file_name = "fieldrelaybox.conf";

// Clears the record, maps /config_mem, sets the defaults and loads "fieldrelaybox.conf" of the
// working directory; without one, the first save looks for settings on the boot partition
// (config/late_settings.h). Called once by start-up before any other thread exists. False, with the
// reason logged, when /config_mem cannot be mapped.
bool init_config_record();

// The parts of init_config_record, in order: before loading, and after a file was loaded.
void set_defaults_before_loading(ConfigRecord& record);
void set_defaults_after_loading(ConfigRecord& record);

// For other programs of the box: the settings in the file at path as the daemon would start with
// them; nothing while there is no whole file.
std::optional<ConfigRecord> read_whole_settings(const std::string& path);

// The settings without any file.
ConfigRecord settings_without_file();

} // namespace fieldrelaybox
