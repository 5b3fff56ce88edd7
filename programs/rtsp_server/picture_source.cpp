#include "rtsp_server/picture_source.h"

#include "gstreamer/h264_units.h"

#include <cstdio>
#include <gst/app/gstappsink.h>
#include <string>

namespace rtsp_server {

namespace {

// With reuse=true another program at the port would go unnoticed, and take the datagrams. Parameter
// sets travel in the caps, so that a viewer can be told of them before its first picture.
std::string pipeline_text() {
    return "udpsrc address=127.0.0.1 port=" + std::to_string(picture_port) +
           " reuse=false buffer-size=2097152 do-timestamp=true retrieve-sender-address=false ! "
           "h264units ! h264parse ! video/x-h264,stream-format=avc,alignment=au ! "
           "appsink name=pictures sync=false";
}

// Long enough that garbage does not keep the processor busy.
constexpr guint pause_before_recovery = 300; // ms

GstFlowReturn pass_on(GstAppSink* sink, gpointer take) {
    if (GstSample* picture = gst_app_sink_pull_sample(sink)) {
        reinterpret_cast<TakePicture>(take)(GST_ELEMENT(sink), picture);
        gst_sample_unref(picture);
    }
    return GST_FLOW_OK;
}

gboolean recover(gpointer pipeline) {
    gst_element_set_state(static_cast<GstElement*>(pipeline), GST_STATE_PLAYING);
    return G_SOURCE_REMOVE;
}

// Whoever started it takes an error as the end, a warning not.
void print_fault(const char* word, const GError* fault, const gchar* details) {
    const std::string text = details != nullptr ? details : fault->message;
    std::fprintf(stderr, "%s: port %d: %s\n", word, picture_port,
                 text.substr(text.rfind('\n') + 1).c_str()); // the last line tells the cause
}

gboolean note_fault(GstBus* /*bus*/, GstMessage* message, gpointer user) {
    auto& source = *static_cast<PictureSource*>(user);
    if (GST_MESSAGE_TYPE(message) != GST_MESSAGE_ERROR)
        return G_SOURCE_CONTINUE;
    GError* fault = nullptr;
    gchar* details = nullptr;
    gst_message_parse_error(message, &fault, &details);
    const bool passes = fault->domain == GST_STREAM_ERROR;
    print_fault(passes ? "WARNING" : "ERROR", fault, details);
    if (passes) {
        gst_element_set_state(source.pipeline, GST_STATE_NULL);
        g_timeout_add(pause_before_recovery, recover, source.pipeline);
    } else {
        source.failed(source.user);
    }
    g_clear_error(&fault);
    g_free(details);
    return G_SOURCE_CONTINUE;
}

} // namespace

bool start_picture_source(PictureSource& source, TakePicture take) {
    gst_element_register(nullptr, "h264units", GST_RANK_NONE, gstreamer::h264_units_type());
    GError* fault = nullptr;
    source.pipeline = gst_parse_launch(pipeline_text().c_str(), &fault);
    if (fault != nullptr) {
        print_fault("ERROR", fault, nullptr);
        g_clear_error(&fault);
        gst_clear_object(&source.pipeline);
        return false;
    }
    GstAppSinkCallbacks callbacks{};
    callbacks.new_sample = pass_on;
    GstElement* sink = gst_bin_get_by_name(GST_BIN(source.pipeline), "pictures");
    gst_app_sink_set_callbacks(GST_APP_SINK(sink), &callbacks, reinterpret_cast<gpointer>(take),
                               nullptr);
    gst_object_unref(sink);
    GstBus* bus = gst_element_get_bus(source.pipeline);
    gst_bus_add_watch(bus, note_fault, &source);
    gst_object_unref(bus);
    gst_element_set_state(source.pipeline, GST_STATE_PLAYING);
    return true;
}

} // namespace rtsp_server
