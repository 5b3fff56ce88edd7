// Digital zoom: absolute level and continuous drive.
#pragma once

#include <netinet/in.h>

namespace fieldrelaybox {

// Level, limited to 0..100; sends nothing when it is the last level already.
void set_zoom(int level);

// set_zoom from the current level on.
void set_zoom_relative(int change);

// The last level of set_zoom; 0 before the first.
int current_zoom_level();

// The zoom step register: what the RC loop changes the level by in each of its steps. It dies with
// the app that set it (zeros: with nobody), and with the link to the camera.
void set_zoom_step(int step, const sockaddr_in& app);
int current_zoom_step();

// Drives the zoom in (positive), out (negative) or stops it (0).
void zoom_drive(int direction);

} // namespace fieldrelaybox
