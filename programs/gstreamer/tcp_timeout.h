// tcptimeout: a GStreamer element that passes everything on, for a sink behind it that sends over
// TCP. It has the kernel end the connections of this program to which nothing got through for
// `timeout` milliseconds: without it, whoever vanishes without a word is noticed after minutes.
// With `send-buffer` no more than so many bytes wait in the system for a reader that is slow.
#pragma once

#include <gst/gst.h>

namespace gstreamer {

GType tcp_timeout_type();

} // namespace gstreamer
