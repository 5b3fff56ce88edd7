// Photo and video: work mode, recording, shots.
#pragma once

namespace fieldrelaybox {

// Video or photo mode. Returns whether the frame was sent.
bool set_mode(bool video);

// Starts or stops recording; starting takes the camera to video mode first.
void record(bool start);

// Photo file format: 0 RAW, 1 JPG, 2 both; other numbers do nothing.
void set_shot_mode(int format);

void stop_interval_shooting();

// Takes the shot that the camera is set to; ends interval shooting when that is going on.
void shot();

// Chooses the shot by the app's words, such as "multiple" "3shots". kind "timelapse" takes the
// interval and duration in seconds as texts, where -1 stands for the ones that the camera reported.
// Unknown words are logged and send nothing.
void set_shot_type(const char* kind, const char* value1, const char* value2);

} // namespace fieldrelaybox
