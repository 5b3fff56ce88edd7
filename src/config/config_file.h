// The configuration file as text: reading one, writing one.
#pragma once

#include "config/value_faults.h"
#include "fieldrelaybox/shared_memory.h"

#include <cstddef>
#include <string>

namespace fieldrelaybox {

// Loads path into record and the channel map into the status block. Lines that cannot be used are
// told with their number and skipped; values that an owner would call mistaken are told with what
// is made of them. Returns false, told, when nothing of the file can be read.
bool load_config_file(const std::string& path, ConfigRecord& record, const Tell& tell);

// The same; what is to be told is logged.
bool load_config_file(const std::string& path, ConfigRecord& record);

// The same for the text of a file, without telling anything.
void load_config_text(const std::string& text, ConfigRecord& record);

// The whole file for record, as it is written to the boot partition.
std::string format_config_file(const ConfigRecord& record);

// The most of a line that the reader takes in one piece; the rest of a longer one would be a line
// of its own.
inline constexpr std::size_t longest_config_line = 199;

} // namespace fieldrelaybox
