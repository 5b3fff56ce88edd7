// Live gimbal and zoom control from an app.
#pragma once

#include <netinet/in.h>

namespace fieldrelaybox {

// kind 0: gimbal angle (a, b); 1: gimbal speed (a, b); 2: zoom, where a = -1 is a relative step b,
// -2 stores b in the zoom step register, -3 drives the zoom in direction b, anything else sets
// level b. Other kinds do nothing. sender is the app it came from.
void remote_control(int kind, int a, int b, const sockaddr_in& sender = {});

} // namespace fieldrelaybox
