#include "gstreamer/h264_units.h"

#include "gstreamer/pads.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

namespace gstreamer {

namespace {

using namespace std::string_view_literals;

constexpr std::string_view start_code = "\0\0\1"sv;

struct H264Units {
    GstElement element; // first, as GStreamer casts between them
    GstPad* output;
    gsize size;                                   // of the unit so far
    gsize held;                                   // bytes of a start code that is not whole yet
    bool passing;                                 // the unit, as far as it came
    std::array<char, start_code.size()> held_end; // its first `held` bytes hold them
};

struct H264UnitsClass {
    GstElementClass parent_class;
};

// Twice what fits into the ports' buffers in one go. A parser copies a unit with every datagram.
constexpr gsize largest_unit = 500'000;

// Of a datagram, what passes; it lies in the same memory or behind it.
struct Passing {
    char* begin;
    gsize size;
};

void add(H264Units* self, Passing& passing, std::string_view bytes) {
    self->size += bytes.size();
    if (self->size > largest_unit)
        self->passing = false;
    if (!self->passing)
        return;
    // What passes never outruns what was read.
    std::memmove(passing.begin + passing.size, bytes.data(), bytes.size());
    passing.size += bytes.size();
}

// Types that do not pass: none, and the ends of a sequence and a stream, since the parser gives up
// when more than the header follows on one.
constexpr std::array<unsigned, 3> dropped_types{0, 10, 11};

void begin_unit(H264Units* self, char header) {
    const auto bits = static_cast<unsigned char>(header);
    const bool valid = (bits & 0x80U) == 0;
    self->passing = valid && std::ranges::find(dropped_types, bits & 0x1fU) == dropped_types.end();
    self->size = 0;
}

// Bytes at the end that a start code may begin with, or a whole one without the header behind it.
gsize count_open_end(std::string_view bytes) {
    for (gsize count = std::min(bytes.size(), start_code.size()); count > 0; --count) {
        if (bytes.ends_with(start_code.substr(0, count)))
            return count;
    }
    return 0;
}

void sort_out(H264Units* self, Passing& passing, std::string_view bytes) {
    const gsize open = count_open_end(bytes);
    std::string_view rest = bytes.substr(0, bytes.size() - open);
    while (!rest.empty()) {
        const gsize place = std::min(rest.find(start_code), rest.size());
        add(self, passing, rest.substr(0, place));
        rest.remove_prefix(place);
        if (rest.empty())
            break;
        // The open end begins with 0.
        begin_unit(self, rest.size() > start_code.size() ? rest[start_code.size()] : '\0');
        add(self, passing, rest.substr(0, start_code.size()));
        rest.remove_prefix(start_code.size());
    }
    bytes.copy(self->held_end.data(), open, bytes.size() - open);
    self->held = open;
}

// A datagram with the held bytes in front of it, of which what passes is left.
GstBuffer* sorted_out(H264Units* self, GstBuffer* datagram) {
    const gsize size = gst_buffer_get_size(datagram);
    GstBuffer* const sorted = gst_buffer_new_allocate(nullptr, self->held + size, nullptr);
    gst_buffer_copy_into(sorted, datagram, GST_BUFFER_COPY_METADATA, 0, size);
    GstMapInfo map{};
    if (gst_buffer_map(sorted, &map, GST_MAP_READWRITE) == FALSE)
        return sorted;
    char* const begin = reinterpret_cast<char*>(map.data);
    std::copy_n(self->held_end.data(), self->held, begin);
    gst_buffer_extract(datagram, 0, begin + self->held, size);
    Passing passing{.begin = begin, .size = 0};
    sort_out(self, passing, {begin, map.size});
    gst_buffer_unmap(sorted, &map);
    gst_buffer_set_size(sorted, static_cast<gssize>(passing.size));
    return sorted;
}

GstFlowReturn take_datagram(GstPad* /*pad*/, GstObject* parent, GstBuffer* datagram) {
    auto* const self = reinterpret_cast<H264Units*>(parent);
    GstBuffer* const sorted = sorted_out(self, datagram);
    gst_buffer_unref(datagram);
    if (gst_buffer_get_size(sorted) != 0)
        return gst_pad_push(self->output, sorted);
    gst_buffer_unref(sorted);
    return GST_FLOW_OK;
}

G_DEFINE_TYPE(H264Units, h264_units, GST_TYPE_ELEMENT)

void h264_units_class_init(H264UnitsClass* made) {
    auto* const elements = reinterpret_cast<GstElementClass*>(made);
    declare_pads(elements);
    gst_element_class_set_static_metadata(elements, "Bounds H.264 units", "Filter/Video",
                                          "Drops what is no H.264 byte stream, and units that do "
                                          "not end",
                                          "Fieldrelaybox");
}

void h264_units_init(H264Units* self) {
    self->size = 0;
    self->held = 0;
    self->passing = false;
    self->output = add_pads(&self->element, take_datagram, nullptr);
}

} // namespace

GType h264_units_type() {
    return h264_units_get_type();
}

} // namespace gstreamer
