// tracks: a GStreamer element that opens a URL and sends its picture and its sound through a branch
// each. Which tracks there are shows only when it is open, so no fixed pipeline can say it: a track
// that is missing must neither be waited for nor keep the stream from ending.
#pragma once

#include <gst/gst.h>

namespace gstreamer {

// Properties: uri; loop: to begin again at its end; and descriptions of branches as gst-launch-1.0
// takes them, for the first picture and the first sound: h264 and aac for those that are so
// already, video and audio for all others, which come decoded. A track whose branch is empty is
// left out.
GType tracks_type();

} // namespace gstreamer
