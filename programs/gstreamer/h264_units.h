// h264units: a GStreamer element between a port and a parser. It lets an H.264 byte stream pass and
// drops what would make h264parse grow, busy or end: bytes that no start code leads in, units that
// do not end, and ends of a stream, behind which another comes here.
#pragma once

#include <gst/gst.h>

namespace gstreamer {

// No properties. It holds back no byte that could belong to a whole unit.
GType h264_units_type();

} // namespace gstreamer
