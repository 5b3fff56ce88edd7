// What the RC loop wants done but must not wait for: saving settings takes seconds of
// mounting, recentring sleeps and waits for other commands that do. Each kind has a thread while it
// has work; its jobs run in the order they were given.
#pragma once

#include <cstdint>

namespace fieldrelaybox {

// Jobs that wait at most; more are dropped and logged.
inline constexpr std::size_t waiting_job_capacity = 8;

enum class GimbalJob : std::uint8_t { recentre, lock_orientation, unlock_orientation };

enum class FlippedSetting : std::uint8_t { focus_assistant, internal_camera, osd };

void start_gimbal_job(GimbalJob job);

// Flips the setting, in the status block as well, saves the file and restarts who depends on it.
// Flips that come while the file is being saved are saved together.
void start_setting_flip(FlippedSetting setting);

} // namespace fieldrelaybox
