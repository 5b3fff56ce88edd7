// The camera data link: the socket, who reads it, and who drives the camera.
#pragma once

namespace fieldrelaybox {

// Starts the telemetry receiver, which opens the camera socket, the command polling and the RC
// loop; called once by start-up.
void init_data_source();

} // namespace fieldrelaybox
