// The fan-out of media datagrams: to the apps, the raw-UDP clients and the encoder processes.
// Entered by the video, audio and transcode-return threads for every datagram.
#pragma once

#include "core/bytes.h"

namespace fieldrelaybox {

// Prepares the video and audio outputs; called once by start-up.
void init_video_bridge();

// One datagram of the camera's video: to the transcoder when that is enabled, otherwise to
// everyone.
void relay_video(Bytes datagram);

// One video datagram to the apps, the UDP clients and the enabled encoders, past the transcoder.
void relay_transcoded_video(Bytes datagram);

// One audio datagram to the apps, the UDP clients and the enabled encoders.
void relay_audio(Bytes datagram);

// Whether the local player gets the camera's video, too; off at start, switched by an app.
void set_local_video(bool on);

// One video datagram to the local player while that is switched on.
void send_to_local_player(Bytes datagram);

} // namespace fieldrelaybox
