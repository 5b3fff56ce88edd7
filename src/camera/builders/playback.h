// Walking through the camera's recordings with its playback buttons.
#pragma once

namespace fieldrelaybox {

// Presses the button of a playback word, behind the buttons that are being pressed; unknown words
// are logged and send nothing. A press takes up to 4.2 s. While twelve wait further ones are
// dropped.
void playback_command(const char* word);

} // namespace fieldrelaybox
