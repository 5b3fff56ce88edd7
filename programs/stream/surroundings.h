// Where this program lies, and what GStreamer finds and has here. Entered by main and by the
// launcher.
#pragma once

#include "stream/kinds.h"

#include <string>

namespace stream {

// Those of this machine. GStreamer is asked for an element once.
Surroundings find_surroundings(std::string source_config);

// The folder with our own elements for GStreamer; empty when there is none.
std::string plugin_folder(const std::string& program_folder);

// For this process and all that it starts: where GStreamer finds our own elements, where it
// remembers what it found, and that it tells its errors in English, which the log goes by.
void set_environment(const Surroundings& surroundings);

} // namespace stream
