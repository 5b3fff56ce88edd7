// Digital zoom: absolute level and continuous drive.
#pragma once

namespace fieldrelaybox {

// Level, limited to 0..100; sends nothing when it is the last level already.
void set_zoom(int level);

// set_zoom from the current level on.
void set_zoom_relative(int change);

// The last level of set_zoom; 0 before the first.
int current_zoom_level();

// Drives the zoom in (positive), out (negative) or stops it (0).
void zoom_drive(int direction);

} // namespace fieldrelaybox
