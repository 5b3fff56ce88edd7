// The app's camera vocabulary: a handler for each command word that drives the camera or the
// gimbal. The table of all command words is in control/app_commands.cpp. A value that a handler
// does not know does nothing.
#pragma once

#include "apps/app_request.h"

namespace fieldrelaybox {

void handle_exposure(const AppRequest& request);
void handle_focus(const AppRequest& request);
void handle_shutter(const AppRequest& request);
void handle_aperture(const AppRequest& request);
void handle_iso(const AppRequest& request);
void handle_ev(const AppRequest& request);
void handle_exposure_mode(const AppRequest& request);
void handle_calibrate_focus(const AppRequest& request);

void handle_horizont(const AppRequest& request);
void handle_position(const AppRequest& request);
void handle_zoom(const AppRequest& request);
void handle_orientation(const AppRequest& request);
void handle_scene_mode(const AppRequest& request);
void handle_pitch_lock(const AppRequest& request);
void handle_smoothtrack(const AppRequest& request);

void handle_shot(const AppRequest& request);
void handle_stop_shot(const AppRequest& request);
void handle_shot_mode(const AppRequest& request);
void handle_shot_type(const AppRequest& request);
void handle_record(const AppRequest& request);

// Takes up to 4.2 s, and waits for other commands that sleep between their frames.
void handle_playback(const AppRequest& request);

void handle_camera(const AppRequest& request);
void handle_color(const AppRequest& request);
void handle_scene(const AppRequest& request);
void handle_white_balance(const AppRequest& request);
void handle_histogram(const AppRequest& request);
void handle_video_resolution(const AppRequest& request);
void handle_video_aspect(const AppRequest& request);
void handle_video_standard(const AppRequest& request);
void handle_antiflicker(const AppRequest& request);
void handle_format_card(const AppRequest& request);
void handle_time(const AppRequest& request);
void handle_power(const AppRequest& request);
void handle_wifi(const AppRequest& request);

} // namespace fieldrelaybox
