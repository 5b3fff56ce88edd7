// How the configuration record comes to its first content. Entered by start-up.
#pragma once

#include "fieldrelaybox/shared_memory.h"

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

} // namespace fieldrelaybox
