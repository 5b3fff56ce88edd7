// The app's camera vocabulary: JSON commands that drive the camera and the gimbal.
#pragma once

#include <cstddef>

namespace fieldrelaybox {

// Carries out one camera command, a JSON text of length characters with a NUL behind it. Texts that
// are not JSON and unknown words do nothing. Blocks for several seconds for some words.
void handle_camera_command(const char* text, std::size_t length);

} // namespace fieldrelaybox
