// Live gimbal and zoom control from an app.
#pragma once

namespace fieldrelaybox {

// kind 0: gimbal angle (a, b); 1: gimbal speed (a, b); 2: zoom, where a = -1 is a relative step b,
// -2 stores b in the zoom step register, -3 drives the zoom in direction b, anything else sets
// level b. Other kinds do nothing.
void remote_control(int kind, int a, int b);

} // namespace fieldrelaybox
