// The long frames in which the camera pushes its state: general state, lens, shooting parameters,
// battery, playback, histogram. Each becomes camera state, status-block fields and a record for the
// apps. The telemetry receiver enters here.
#pragma once

#include "core/bytes.h"

#include <cstdint>

namespace fieldrelaybox {

// Decodes a frame whose length byte is its length. Frames are recognised by length, command set and
// id together; others change nothing. Its record is posted unless that made more than ten of
// its kind a second by the timer clock; one that came late may be followed early. The status
// block always follows. Returns whether the frame is known.
bool decode_camera_state_frame(Bytes frame, std::int64_t now);

// The decoders, one per frame kind. payload has one of the lengths of its kind; post tells whether
// to post the record.
void decode_state(Bytes payload, bool post);
void decode_battery(Bytes payload, bool post);
void decode_lens(Bytes payload, bool post);
void decode_playback(Bytes payload, bool post);
void decode_histogram(Bytes payload, bool post);
void decode_shooting_parameters(Bytes payload, bool post);

} // namespace fieldrelaybox
