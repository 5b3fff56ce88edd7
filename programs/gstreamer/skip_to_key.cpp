#include "gstreamer/skip_to_key.h"

#include "gstreamer/pads.h"

namespace gstreamer {

namespace {

struct SkipToKey {
    GstElement element; // first, as GStreamer casts between them
    GstPad* output;
    bool begun; // the beginning of a stream is no gap
    bool skipping;
};

struct SkipToKeyClass {
    GstElementClass parent_class;
};

GstFlowReturn take_unit(GstPad* /*pad*/, GstObject* parent, GstBuffer* unit) {
    auto* const self = reinterpret_cast<SkipToKey*>(parent);
    if (self->begun && GST_BUFFER_FLAG_IS_SET(unit, GST_BUFFER_FLAG_DISCONT))
        self->skipping = true;
    self->begun = true;
    if (!GST_BUFFER_FLAG_IS_SET(unit, GST_BUFFER_FLAG_DELTA_UNIT))
        self->skipping = false;
    if (!self->skipping)
        return gst_pad_push(self->output, unit);
    gst_buffer_unref(unit);
    return GST_FLOW_OK;
}

G_DEFINE_TYPE(SkipToKey, skip_to_key, GST_TYPE_ELEMENT)

void skip_to_key_class_init(SkipToKeyClass* made) {
    auto* const elements = reinterpret_cast<GstElementClass*>(made);
    declare_pads(elements);
    gst_element_class_set_static_metadata(elements, "Skips to key frames", "Filter/Video",
                                          "After a gap lets nothing pass before a key frame",
                                          "Fieldrelaybox");
}

void skip_to_key_init(SkipToKey* self) {
    self->output = add_pads(&self->element, take_unit, nullptr);
}

} // namespace

GType skip_to_key_type() {
    return skip_to_key_get_type();
}

} // namespace gstreamer
