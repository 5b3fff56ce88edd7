// The fan-out of media datagrams: to the apps, the raw-UDP clients and the encoder processes.
// Entered by the video, audio and transcode-return threads for every datagram.
#pragma once

#include "core/bytes.h"
#include "core/segments.h"

#include <cstddef>

namespace fieldrelaybox {

// Prepares the video and audio outputs; called once by start-up.
void init_video_bridge();

// The first of the camera's video datagrams, to the transcoder when that is enabled, otherwise to
// everyone, and to the local player while that is switched on. As many at once as can go together:
// one alone while UDP clients, the transcoder or the player get them. Returns how many it was.
std::size_t relay_video(Datagrams rest);

// The same past the transcoder and the player: to the apps, the UDP clients and the enabled
// encoders.
std::size_t relay_transcoded_video(Datagrams rest);

// One audio datagram to the apps, the UDP clients and the enabled encoders.
void relay_audio(Bytes datagram);

// Whether the local player gets the camera's video, too; off at start, switched by an app.
void set_local_video(bool on);

} // namespace fieldrelaybox
