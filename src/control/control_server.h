// The UDP service on port 4242: apps find the box, register and send their commands here.
#pragma once

#include "config/own_inputs.h"
#include "core/bytes.h"
#include "core/sockets.h"

#include <cstdint>

namespace fieldrelaybox {

// Opens port 4242 and starts the server thread. A port that is taken ends the process with status
// 100.
void init_device_discovery();

// Carries out one control message; payload starts at the control code. Shared by the server thread
// and by the remote server client.
void handle_control_message(Bytes payload, const Endpoint& sender);

// One datagram as it arrived on port 4242.
void handle_app_datagram(Bytes datagram, const sockaddr_in& sender);

} // namespace fieldrelaybox
