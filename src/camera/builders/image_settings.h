// How pictures and videos look: resolution, colour, scene, white balance, video standard.
#pragma once

#include <string_view>

namespace fieldrelaybox {

// Unknown sizes and rates are sent as code 0.
void set_video_resolution(int width, int height, int rate);

// The app's text of a mode, such as "1920x1080@50"; other texts do nothing.
void set_video_resolution(std::string_view mode);

// These three log any word; unknown ones send nothing.
void set_color(const char* color);
void set_image_scene(const char* scene);
void set_white_balance(const char* mode, const char* kelvin);

// "4:3" or "16:9", "PAL" or "NTSC", "auto", "50" or "60"; other words do nothing.
void set_video_aspect(const char* aspect);
void set_video_standard(const char* standard);
void set_antiflicker(const char* mode);

// Whether the camera reports brightness histograms.
void set_histogram(bool on);

} // namespace fieldrelaybox
