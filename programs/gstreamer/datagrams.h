// datagrams: a GStreamer element that cuts what passes into pieces of at most `max-size` bytes, for
// a UDP sink behind it. What comes as one list is joined first, so that small packets share a
// datagram. Nothing waits for what comes later.
#pragma once

#include <gst/gst.h>

namespace gstreamer {

// Properties: max-size, bytes of a datagram; unit, bytes that are never parted (188 for MPEG-TS).
GType datagrams_type();

} // namespace gstreamer
