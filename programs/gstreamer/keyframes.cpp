#include "gstreamer/keyframes.h"

#include <gst/video/video.h>

namespace gstreamer {

namespace {

struct Keyframes {
    GstElement element; // first, as GStreamer casts between them
    GstPad* output;
    guint interval;     // milliseconds; set before the element starts
    GstSegment segment; // of the pictures that come
    GstClockTime next;  // running time of the next request
};

struct KeyframesClass {
    GstElementClass parent_class;
};

enum KeyframesProperty : guint { property_interval = 1 };

// The encoder begins with a key frame of its own, so the first picture asks for none. Behind a gap
// the next picture asks, and not as many as would have passed.
bool is_due(Keyframes* self, GstClockTime running) {
    const GstClockTime interval = self->interval * GST_MSECOND;
    const bool first = !GST_CLOCK_TIME_IS_VALID(self->next);
    if (!first && running < self->next)
        return false;
    self->next = running - running % interval + interval;
    return !first;
}

GstFlowReturn take_picture(GstPad* /*pad*/, GstObject* parent, GstBuffer* picture) {
    auto* const self = reinterpret_cast<Keyframes*>(parent);
    const GstClockTime time = GST_BUFFER_PTS(picture);
    const GstClockTime running = gst_segment_to_running_time(&self->segment, GST_FORMAT_TIME, time);
    if (GST_CLOCK_TIME_IS_VALID(running) && is_due(self, running))
        gst_pad_push_event(self->output, gst_video_event_new_downstream_force_key_unit(
                                             time, GST_CLOCK_TIME_NONE, running, TRUE, 0));
    return gst_pad_push(self->output, picture);
}

gboolean take_event(GstPad* pad, GstObject* parent, GstEvent* event) {
    auto* const self = reinterpret_cast<Keyframes*>(parent);
    if (GST_EVENT_TYPE(event) == GST_EVENT_SEGMENT) {
        gst_event_copy_segment(event, &self->segment);
        self->next = GST_CLOCK_TIME_NONE;
    }
    return gst_pad_event_default(pad, parent, event);
}

void set_interval(GObject* object, guint /*number*/, const GValue* value, GParamSpec* /*what*/) {
    reinterpret_cast<Keyframes*>(object)->interval = g_value_get_uint(value);
}

void get_interval(GObject* object, guint /*number*/, GValue* value, GParamSpec* /*what*/) {
    g_value_set_uint(value, reinterpret_cast<Keyframes*>(object)->interval);
}

GstStaticPadTemplate pictures_in = GST_STATIC_PAD_TEMPLATE("sink", GST_PAD_SINK, GST_PAD_ALWAYS,
                                                           GST_STATIC_CAPS("video/x-raw(ANY)"));
GstStaticPadTemplate pictures_out = GST_STATIC_PAD_TEMPLATE("src", GST_PAD_SRC, GST_PAD_ALWAYS,
                                                            GST_STATIC_CAPS("video/x-raw(ANY)"));

G_DEFINE_TYPE(Keyframes, keyframes, GST_TYPE_ELEMENT)

void keyframes_class_init(KeyframesClass* made) {
    auto* const objects = reinterpret_cast<GObjectClass*>(made);
    auto* const elements = reinterpret_cast<GstElementClass*>(made);
    constexpr auto flags = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS);
    constexpr guint longest = 3'600'000;
    objects->set_property = set_interval;
    objects->get_property = get_interval;
    g_object_class_install_property(objects, property_interval,
                                    g_param_spec_uint("interval", "Interval",
                                                      "Milliseconds from one key frame to the next",
                                                      1, longest, 1000, flags));
    gst_element_class_add_static_pad_template(elements, &pictures_in);
    gst_element_class_add_static_pad_template(elements, &pictures_out);
    gst_element_class_set_static_metadata(elements, "Asks for key frames", "Filter/Video",
                                          "Asks the encoder for a key frame now and then",
                                          "Fieldrelaybox");
}

void keyframes_init(Keyframes* self) {
    self->interval = 1000;
    self->next = GST_CLOCK_TIME_NONE;
    gst_segment_init(&self->segment, GST_FORMAT_TIME);
    GstPad* const input = gst_pad_new_from_static_template(&pictures_in, "sink");
    gst_pad_set_chain_function(input, take_picture);
    gst_pad_set_event_function(input, take_event);
    GST_PAD_SET_PROXY_CAPS(input);
    GST_PAD_SET_PROXY_ALLOCATION(input);
    self->output = gst_pad_new_from_static_template(&pictures_out, "src");
    GST_PAD_SET_PROXY_CAPS(self->output);
    gst_element_add_pad(&self->element, input);
    gst_element_add_pad(&self->element, self->output);
}

} // namespace

GType keyframes_type() {
    return keyframes_get_type();
}

} // namespace gstreamer
