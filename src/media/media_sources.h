// The threads that receive media datagrams and hand them to the relay.
#pragma once

#include "config/own_inputs.h"
#include "core/segments.h"

#include <cstddef>
#include <cstdint>

namespace fieldrelaybox {

// Each is called once by start-up; a port that is taken is logged and tried for again.
void init_transcode();
void init_audio_source();
void init_video_source();

// The first of the video datagrams that arrived, or the first few: notes that video is there and
// relays them. Returns how many it was.
std::size_t handle_video(Datagrams rest, std::int64_t now);

// Notices that video stopped, publishes the video state and posts it; called on every supervisor
// pass.
void video_watchdog(std::int64_t now);

} // namespace fieldrelaybox
