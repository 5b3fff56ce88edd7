// The RTSP side: who may come, and what comes of a player's requests.
#pragma once

#include <cstdint>

namespace rtsp_server {

// Serves rtsp://BOX:port/video on all addresses, from the main context and threads of its own, as
// long as the program lasts. Prints the reason when it cannot.
bool start_server(std::uint16_t port);

} // namespace rtsp_server
