// The RTSP side: who may come, and what comes of a player's requests.
#pragma once

#include <cstdint>
#include <gst/rtsp-server/rtsp-server.h>

namespace rtsp_server {

struct Server {
    GstRTSPServer* rtsp; // null when the port cannot be had
    GSource* entrance;   // where players come in
};

// Serves rtsp://BOX:port/video on all addresses, from the main context on. Prints the reason when
// it cannot.
Server start_server(std::uint16_t port);

// Says good-bye to all players.
void stop_server(Server& server);

} // namespace rtsp_server
