#include "gstreamer/datagrams.h"

#include "gstreamer/pads.h"

#include <algorithm>

namespace gstreamer {

namespace {

struct Datagrams {
    GstElement element; // first, as GStreamer casts between them
    GstPad* output;
    guint max_size; // bytes; set before the element starts
    guint unit;
};

struct DatagramsClass {
    GstElementClass parent_class;
};

constexpr guint default_max_size = 1400; // passes Ethernet and tunnels whole

enum Property : guint { property_max_size = 1, property_unit };

// What has been cut so far, and the datagram that has room left.
struct Cutting {
    GstBufferList* done;
    GstBuffer* open; // null: the next byte begins one
    gsize size;      // bytes of a full datagram
};

void finish_datagram(Cutting& cutting) {
    if (cutting.open != nullptr)
        gst_buffer_list_add(cutting.done, cutting.open);
    cutting.open = nullptr;
}

// A datagram takes the time stamps and flags of the buffer that it begins with. No byte is copied.
void add_buffer(Cutting& cutting, GstBuffer* buffer) {
    const gsize size = gst_buffer_get_size(buffer);
    gsize length = 0;
    for (gsize offset = 0; offset < size; offset += length) {
        const gsize filled = cutting.open == nullptr ? 0 : gst_buffer_get_size(cutting.open);
        length = std::min(size - offset, cutting.size - filled);
        GstBuffer* piece = gst_buffer_copy_region(buffer, GST_BUFFER_COPY_ALL, offset, length);
        // Only what begins at the start of a buffer has its times.
        if (offset != 0) {
            GST_BUFFER_PTS(piece) = GST_BUFFER_PTS(buffer);
            GST_BUFFER_DTS(piece) = GST_BUFFER_DTS(buffer);
        }
        cutting.open = cutting.open == nullptr ? piece : gst_buffer_append(cutting.open, piece);
        if (filled + length == cutting.size)
            finish_datagram(cutting);
    }
}

Cutting begin_cutting(const Datagrams* self) {
    const guint unit = std::clamp(self->unit, 1U, self->max_size);
    const gsize units = self->max_size / unit;
    return {gst_buffer_list_new(), nullptr, units * unit};
}

GstFlowReturn push(const Datagrams* self, Cutting& cutting) {
    finish_datagram(cutting);
    if (gst_buffer_list_length(cutting.done) != 0)
        return gst_pad_push_list(self->output, cutting.done);
    gst_buffer_list_unref(cutting.done);
    return GST_FLOW_OK;
}

GstFlowReturn take_buffer(GstPad* /*pad*/, GstObject* parent, GstBuffer* buffer) {
    const auto* const self = reinterpret_cast<Datagrams*>(parent);
    Cutting cutting = begin_cutting(self);
    add_buffer(cutting, buffer);
    gst_buffer_unref(buffer);
    return push(self, cutting);
}

GstFlowReturn take_list(GstPad* /*pad*/, GstObject* parent, GstBufferList* list) {
    const auto* const self = reinterpret_cast<Datagrams*>(parent);
    Cutting cutting = begin_cutting(self);
    for (guint i = 0; i < gst_buffer_list_length(list); ++i)
        add_buffer(cutting, gst_buffer_list_get(list, i));
    gst_buffer_list_unref(list);
    return push(self, cutting);
}

guint* place_of(GObject* object, guint number) {
    auto* const self = reinterpret_cast<Datagrams*>(object);
    return number == property_max_size ? &self->max_size : &self->unit;
}

void set_property(GObject* object, guint number, const GValue* value, GParamSpec* /*what*/) {
    *place_of(object, number) = g_value_get_uint(value);
}

void get_property(GObject* object, guint number, GValue* value, GParamSpec* /*what*/) {
    g_value_set_uint(value, *place_of(object, number));
}

G_DEFINE_TYPE(Datagrams, datagrams, GST_TYPE_ELEMENT)

void datagrams_class_init(DatagramsClass* made) {
    auto* const objects = reinterpret_cast<GObjectClass*>(made);
    auto* const elements = reinterpret_cast<GstElementClass*>(made);
    constexpr auto flags = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS);
    constexpr guint largest = 65507; // bytes of a UDP datagram over IPv4
    objects->set_property = set_property;
    objects->get_property = get_property;
    g_object_class_install_property(objects, property_max_size,
                                    g_param_spec_uint("max-size", "Largest size",
                                                      "Bytes of a datagram at most", 1, largest,
                                                      default_max_size, flags));
    g_object_class_install_property(
        objects, property_unit,
        g_param_spec_uint("unit", "Unit", "Bytes that stay together", 1, largest, 1, flags));
    declare_pads(elements);
    gst_element_class_set_static_metadata(elements, "Cuts into datagrams", "Filter/Network",
                                          "Joins what comes together, cuts it, holds nothing back",
                                          "Fieldrelaybox");
}

void datagrams_init(Datagrams* self) {
    self->max_size = default_max_size;
    self->unit = 1;
    self->output = add_pads(&self->element, take_buffer, take_list);
}

} // namespace

GType datagrams_type() {
    return datagrams_get_type();
}

} // namespace gstreamer
