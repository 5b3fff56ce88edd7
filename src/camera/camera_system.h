// The camera's own housekeeping: clock, power, memory card, Wi-Fi.
#pragma once

#include "core/clock.h"

#include <cstdint>

namespace fieldrelaybox {

// Sets the camera's clock; nothing while it is not connected.
void set_date_and_time(int hour, int minute, int second, int day, int month, int year);

// Sets the camera's clock from the local clock, unless an app has set it.
void sync_camera_clock(const LocalDateTime& time);

// Sets the camera's clock as an app wants it; from now on sync_camera_clock leaves it alone.
void set_camera_clock_for_app(const LocalDateTime& time);

enum class PowerWord : std::uint8_t { sleep = 1, wake_up = 2, restart = 3, shut_down = 4 };

// Nothing while the camera is not connected.
void send_power_word(PowerWord word);

void format_memory_card();

// "5.8" for 5.8 GHz, anything else for 2.4 GHz; the camera restarts its Wi-Fi.
void set_camera_wifi_mode(const char* mode);

} // namespace fieldrelaybox
