// The status block /hud_mem, shared with the sibling programs, and the mirror /config_mem.
// Entered by start-up; afterwards every thread uses status_block().
#pragma once

#include "fieldrelaybox/shared_memory.h"

#include <cstdint>

namespace fieldrelaybox {

enum class Opening : std::uint8_t { done, in_use, failed };

// Opens or creates /hud_mem (mode 0600) and maps it for status_block(). An existing region keeps
// its size unless it is too small to be used. The process that has it holds a lock on it until it
// ends: "in use", with nothing touched, when another one does. Whatever is not done is logged.
Opening open_status_block();

// The mapped block. Before open_status_block it is a private block of zeros.
StatusBlock& status_block();

// Opens or creates /config_mem (mode 0600), sets its size to 3256 bytes and maps it. Every call
// makes a mapping of its own. Returns null, logged, when that is impossible.
ConfigRecord* open_config_mirror();

} // namespace fieldrelaybox
