// keyframes: a GStreamer element that lets pictures pass and asks the encoder behind it for a key
// frame every `interval`, whatever the frame rate is.
#pragma once

#include <gst/gst.h>

namespace gstreamer {

// Property: interval, milliseconds of running time.
GType keyframes_type();

} // namespace gstreamer
