// The GStreamer elements that pipelines of ours need and GStreamer does not have.
#include "gstreamer/datagrams.h"
#include "gstreamer/h264_units.h"
#include "gstreamer/keyframes.h"
#include "gstreamer/skip_to_key.h"
#include "gstreamer/tcp_timeout.h"
#include "gstreamer/tracks.h"

#include <algorithm>
#include <array>

namespace {

struct Element {
    const char* name;
    GType (*type)();
};

constexpr std::array elements{
    Element{"datagrams", gstreamer::datagrams_type},
    Element{"h264units", gstreamer::h264_units_type},
    Element{"keyframes", gstreamer::keyframes_type},
    Element{"skiptokey", gstreamer::skip_to_key_type},
    Element{"tracks", gstreamer::tracks_type},
    Element{"tcptimeout", gstreamer::tcp_timeout_type},
};

gboolean add_elements(GstPlugin* plugin) {
    const bool all = std::ranges::all_of(elements, [plugin](const Element& element) {
        return gst_element_register(plugin, element.name, GST_RANK_NONE, element.type()) != FALSE;
    });
    return all ? TRUE : FALSE;
}

} // namespace

#define PACKAGE "fieldrelaybox"
GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, fieldrelaybox,
                  "What streams of the box need besides GStreamer's own elements", add_elements,
                  FIELDRELAYBOX_VERSION, "MIT/X11", "Fieldrelaybox", "Fieldrelaybox")
