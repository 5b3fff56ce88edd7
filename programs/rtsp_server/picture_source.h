// The camera's picture as the daemon sends it to a loopback port, put together again for all
// viewers at once.
#pragma once

#include <gst/gst.h>

namespace rtsp_server {

inline constexpr int picture_port = 3005;

// Receives whole access units (video/x-h264, stream-format=avc) in the order of decoding, from a
// thread of its own. The sample is the caller's; its time is the running time of `source`.
using TakePicture = void (*)(GstElement* source, GstSample* picture);

struct PictureSource {
    GstElement* pipeline;
    void (*failed)(void* user); // called in the main context
    void* user;
};

// Reads as long as the program lasts; from bytes that are no picture it recovers by itself. False
// when GStreamer lacks an element. `failed` is called when the port cannot be had. Either way the
// reason was printed. The record has to stay where it is.
bool start_picture_source(PictureSource& source, TakePicture take);

} // namespace rtsp_server
