#include "gstreamer/keyframes.h"

#include "gstreamer/pads.h"

#include <gst/video/video.h>

namespace gstreamer {

namespace {

struct Keyframes {
    GstElement element; // first, as GStreamer casts between them
    GstPad* output;
    guint interval;    // milliseconds; set before the element starts
    GstClockTime next; // running time of the next request
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

GstClockTime running_time(GstPad* input, GstClockTime time) {
    GstEvent* const sticky = gst_pad_get_sticky_event(input, GST_EVENT_SEGMENT, 0);
    if (sticky == nullptr)
        return GST_CLOCK_TIME_NONE;
    const GstSegment* segment = nullptr;
    gst_event_parse_segment(sticky, &segment);
    const GstClockTime running = gst_segment_to_running_time(segment, GST_FORMAT_TIME, time);
    gst_event_unref(sticky);
    return running;
}

GstFlowReturn take_picture(GstPad* pad, GstObject* parent, GstBuffer* picture) {
    auto* const self = reinterpret_cast<Keyframes*>(parent);
    const GstClockTime shown = GST_BUFFER_PTS(picture);
    const GstClockTime due = running_time(pad, shown);
    if (GST_CLOCK_TIME_IS_VALID(due) && is_due(self, due))
        gst_pad_push_event(self->output, gst_video_event_new_downstream_force_key_unit(
                                             shown, GST_CLOCK_TIME_NONE, due, TRUE, 0));
    return gst_pad_push(self->output, picture);
}

void set_interval(GObject* object, guint /*number*/, const GValue* value, GParamSpec* /*what*/) {
    reinterpret_cast<Keyframes*>(object)->interval = g_value_get_uint(value);
}

void get_interval(GObject* object, guint /*number*/, GValue* value, GParamSpec* /*what*/) {
    g_value_set_uint(value, reinterpret_cast<Keyframes*>(object)->interval);
}

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
    declare_pads(elements);
    gst_element_class_set_static_metadata(elements, "Asks for key frames", "Filter/Video",
                                          "Asks the encoder for a key frame now and then",
                                          "Fieldrelaybox");
}

void keyframes_init(Keyframes* self) {
    self->interval = 1000;
    self->next = GST_CLOCK_TIME_NONE;
    self->output = add_pads(&self->element, take_picture, nullptr);
}

} // namespace

GType keyframes_type() {
    return keyframes_get_type();
}

} // namespace gstreamer
