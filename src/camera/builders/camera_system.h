// The camera's own housekeeping: clock, memory card, Wi-Fi.
#pragma once

#include "core/clock.h"

namespace fieldrelaybox {

// Sets the camera's clock; nothing while it is not connected.
void set_date_and_time(int hour, int minute, int second, int day, int month, int year);

// Sets the camera's clock from the local clock, unless that is not known or an app has set the
// camera's. Called on every supervisor pass.
void sync_camera_clock();

// Sets the camera's clock as an app wants it; from now on sync_camera_clock leaves it alone.
void set_camera_clock_for_app(const LocalDateTime& time);

void format_memory_card();

// "5.8" for 5.8 GHz, anything else for 2.4 GHz; the camera restarts its Wi-Fi.
void set_camera_wifi_mode(const char* mode);

} // namespace fieldrelaybox
