// Settings that an RC switch turns over.
#pragma once

#include <cstdint>

namespace fieldrelaybox {

enum class FlippedSetting : std::uint8_t { focus_assistant, internal_camera, osd };

// Turns the setting over, in the status block as well, at once; has it saved and restarts who
// depends on it.
void flip_and_save(FlippedSetting setting);

} // namespace fieldrelaybox
