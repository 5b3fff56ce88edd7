// Walking through the camera's recordings with its playback buttons.
#pragma once

namespace fieldrelaybox {

// Presses the button of a playback word; unknown words are logged and send nothing. Takes up to
// 4.2 s, and waits for other commands that sleep between their frames, unless twelve wait already:
// then the command is dropped, which is logged once per second.
void playback_command(const char* word);

} // namespace fieldrelaybox
