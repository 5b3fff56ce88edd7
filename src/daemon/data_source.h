// The camera data link: the socket, who reads it, and who drives the camera.
#pragma once

namespace fieldrelaybox {

// Opens the camera socket and starts the telemetry receiver, the command polling and the RC loop;
// called once by start-up.
void init_data_source();

} // namespace fieldrelaybox
