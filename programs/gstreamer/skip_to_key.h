// The element `skiptokey`: after a gap, such as a leaky queue leaves, nothing passes before the
// next key frame, as no decoder could make a picture of it.
#pragma once

#include <gst/gst.h>

namespace gstreamer {

GType skip_to_key_type();

} // namespace gstreamer
