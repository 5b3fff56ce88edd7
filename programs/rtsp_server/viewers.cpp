#include "rtsp_server/viewers.h"

#include <array>
#include <cstdint>
#include <gst/app/gstappsrc.h>
#include <map>
#include <mutex>

namespace rtsp_server {

namespace {

struct Viewer {
    GstAppSrc* pictures;
    bool watches; // between PLAY and PAUSE
    bool in_step; // has what the next picture refers to
};

// What one viewer may have waiting; more would be old when it comes.
constexpr guint64 most_waiting_bytes = 1'000'000;

std::mutex guard;
std::map<GstRTSPMedia*, Viewer> viewers;
GstCaps* newest_caps = nullptr;

// Before the first picture nothing is known of it: a decoder configuration without parameter sets,
// which every viewer gets in band later.
GstCaps* caps_without_picture() {
    constexpr std::array<std::uint8_t, 7> no_parameter_sets{1, 0x42, 0xE0, 0x1F, 0xFF, 0xE0, 0};
    GstBuffer* configuration =
        gst_buffer_new_memdup(no_parameter_sets.data(), no_parameter_sets.size());
    GstCaps* caps = gst_caps_new_simple("video/x-h264", "stream-format", G_TYPE_STRING, "avc",
                                        "alignment", G_TYPE_STRING, "au", "codec_data",
                                        GST_TYPE_BUFFER, configuration, nullptr);
    gst_buffer_unref(configuration);
    return caps;
}

// A pipeline counts as ready with the first that comes through it. That is an empty buffer, which
// goes on as word of a gap: a real one would wait for PLAY and be old by then.
GstPadProbeReturn turn_into_gap(GstPad* pad, GstPadProbeInfo* info, gpointer /*unused*/) {
    GstBuffer* buffer = gst_pad_probe_info_get_buffer(info);
    if (gst_buffer_get_size(buffer) > 0)
        return GST_PAD_PROBE_REMOVE;
    gst_pad_push_event(pad, gst_event_new_gap(GST_BUFFER_PTS(buffer), GST_CLOCK_TIME_NONE));
    return GST_PAD_PROBE_DROP;
}

void make_ready(GstAppSrc* pictures) {
    GstPad* pad = gst_element_get_static_pad(GST_ELEMENT(pictures), "src");
    gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_BUFFER, turn_into_gap, nullptr, nullptr);
    gst_object_unref(pad);
    GstBuffer* empty = gst_buffer_new();
    GST_BUFFER_PTS(empty) = 0;
    gst_app_src_push_buffer(pictures, empty);
}

void forget_viewer(GstRTSPMedia* media, gpointer /*unused*/) {
    const std::lock_guard lock(guard);
    const auto found = viewers.find(media);
    if (found == viewers.end())
        return;
    gst_object_unref(found->second.pictures);
    viewers.erase(found);
}

// The same picture with the time of another pipeline. Null when that does not run.
GstSample* retimed(GstSample* picture, GstClockTime age, GstElement* pipeline) {
    const GstClockTime now = gst_element_get_current_running_time(pipeline);
    if (!GST_CLOCK_TIME_IS_VALID(now))
        return nullptr;
    GstBuffer* buffer = gst_buffer_copy(gst_sample_get_buffer(picture)); // shares the memory
    GST_BUFFER_PTS(buffer) = now > age ? now - age : 0;
    GST_BUFFER_DTS(buffer) = GST_CLOCK_TIME_NONE;
    GstSample* sample = gst_sample_new(buffer, gst_sample_get_caps(picture), nullptr, nullptr);
    gst_buffer_unref(buffer);
    return sample;
}

void show_to(Viewer& viewer, GstSample* picture, GstClockTime age) {
    GstBuffer* buffer = gst_sample_get_buffer(picture);
    const bool has_room =
        gst_app_src_get_current_level_bytes(viewer.pictures) + gst_buffer_get_size(buffer) <=
        most_waiting_bytes;
    const bool is_key_frame = !GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DELTA_UNIT);
    viewer.in_step = viewer.watches && has_room && (viewer.in_step || is_key_frame);
    if (!viewer.in_step)
        return;
    if (GstSample* sample = retimed(picture, age, GST_ELEMENT(viewer.pictures))) {
        gst_app_src_push_sample(viewer.pictures, sample);
        gst_sample_unref(sample);
    }
}

} // namespace

void add_viewer(GstRTSPMedia* media) {
    GstElement* pipeline = gst_rtsp_media_get_element(media);
    GstAppSrc* pictures = GST_APP_SRC(gst_bin_get_by_name(GST_BIN(pipeline), "pictures"));
    gst_object_unref(pipeline);
    g_signal_connect(media, "unprepared", G_CALLBACK(forget_viewer), nullptr);
    const std::lock_guard lock(guard);
    GstCaps* caps = newest_caps != nullptr ? gst_caps_ref(newest_caps) : caps_without_picture();
    gst_app_src_set_caps(pictures, caps);
    gst_caps_unref(caps);
    make_ready(pictures);
    viewers[media] = {.pictures = pictures, .watches = false, .in_step = false};
}

void let_watch(GstRTSPMedia* media, bool watches) {
    const std::lock_guard lock(guard);
    const auto found = viewers.find(media);
    if (found != viewers.end())
        found->second.watches = watches;
}

void show_picture(GstElement* source, GstSample* picture) {
    const GstClockTime now = gst_element_get_current_running_time(source);
    const GstClockTime time = GST_BUFFER_PTS(gst_sample_get_buffer(picture));
    const GstClockTime age = GST_CLOCK_TIME_IS_VALID(time) && now > time ? now - time : 0;
    const std::lock_guard lock(guard);
    gst_caps_replace(&newest_caps, gst_sample_get_caps(picture));
    for (auto& [media, viewer] : viewers)
        show_to(viewer, picture, age);
}

} // namespace rtsp_server
