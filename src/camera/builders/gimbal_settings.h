// How the gimbal behaves: horizon, smoothing, which way it looks.
#pragma once

#include <cstdint>
#include <string_view>

namespace fieldrelaybox {

// Turns the horizon by a signed step, 0 to level it.
void roll_horizont(std::int8_t step);

void calibrate_gimbal();

// "walk", "sport" or "wearable"; another word does nothing.
void set_scene_mode(std::string_view mode);
void set_pitch_lock(bool locked);
void set_zoom_adjusted_smoothtrack(int value);
void set_realtime_autofocus(int value);

void set_position_normal();
void set_position_selfie();

} // namespace fieldrelaybox
