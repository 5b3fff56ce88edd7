// The configuration file as text: reading one, writing one.
#pragma once

#include "fieldrelaybox/shared_memory.h"

#include <cstddef>
#include <string>

namespace fieldrelaybox {

// Loads path into record and the channel map into the status block. Lines that cannot be used are
// logged with their number and skipped. Returns false, logged, when the file cannot be opened.
bool load_config_file(const char* path, ConfigRecord& record);

// The whole file for record, as it is written to the boot partition.
std::string format_config_file(const ConfigRecord& record);

// The most of a line that the reader takes in one piece; the rest of a longer one would be a line
// of its own.
inline constexpr std::size_t longest_config_line = 199;

} // namespace fieldrelaybox
