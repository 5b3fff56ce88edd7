// Who watches. Every viewer has a pipeline of its own (GstRTSPMedia), which is fed with the one
// picture of the camera from the next key frame on.
#pragma once

#include <gst/rtsp-server/rtsp-media.h>

namespace rtsp_server {

// The pipeline of a viewer, for a factory of media: what add_viewer expects.
inline constexpr const char* viewer_pipeline =
    "( appsrc name=pictures is-live=true format=time ! rtph264pay name=pay0 pt=96 "
    "config-interval=1 )";

// Makes the pipeline ready to describe itself at once, whether or not there is a picture yet. It is
// forgotten by itself when the media ends.
void add_viewer(GstRTSPMedia* media);

// From the next key frame on the viewer gets pictures, or none at all. Unknown media are ignored.
void let_watch(GstRTSPMedia* media, bool watches);

// Passes a picture on to all who watch. One who does not take them as fast as they come misses
// those up to a key frame; nobody waits for him. (A TakePicture.)
void show_picture(GstElement* source, GstSample* picture);

} // namespace rtsp_server
