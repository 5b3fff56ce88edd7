// The thread that reads what the camera sends: follows the link, decodes the pushed frames into the
// status block and posts them to the apps.
#pragma once

#include "core/bytes.h"

#include <cstdint>
#include <netinet/in.h>

namespace fieldrelaybox {

// Called once by init_data_source, after init_camera_link: the thread opens the link.
void start_telemetry_receiver();

// One datagram from the camera socket: link detection, then decoding. The sender becomes the
// receiver of all frames from now on.
void handle_camera_datagram(Bytes datagram, const sockaddr_in& sender, std::int64_t now);

// Decodes one frame; frames that are not known, or whose length byte is not their length, change
// nothing. The check bytes are not verified. now limits how often records are posted.
void decode_camera_frame(Bytes frame, std::int64_t now);

} // namespace fieldrelaybox
