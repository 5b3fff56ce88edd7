// The camera's power. Apps ask for a word, and the camera itself asks for a restart.
#pragma once

#include <cstdint>

namespace fieldrelaybox {

enum class PowerWord : std::uint8_t { sleep = 1, wake_up = 2, restart = 3, shut_down = 4 };

// Nothing while the camera is not connected.
void send_power_word(PowerWord word);

} // namespace fieldrelaybox
