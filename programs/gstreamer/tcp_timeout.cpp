#include "gstreamer/tcp_timeout.h"

#include "gstreamer/pads.h"

#include <cstdlib>
#include <dirent.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace gstreamer {

namespace {

struct TcpTimeout {
    GstElement element; // first, as GStreamer casts between them
    GstPad* output;
    guint timeout;     // milliseconds
    guint send_buffer; // bytes
    gint64 next_round; // microseconds of the monotonic clock
};

struct TcpTimeoutClass {
    GstElementClass parent_class;
};

enum TcpProperty : guint { property_timeout = 1, property_send_buffer };

void limit_connection(int descriptor, const TcpTimeout* self) {
    int protocol = 0;
    socklen_t length = sizeof protocol;
    if (getsockopt(descriptor, SOL_SOCKET, SO_PROTOCOL, &protocol, &length) != 0 ||
        protocol != IPPROTO_TCP)
        return;
    setsockopt(descriptor, IPPROTO_TCP, TCP_USER_TIMEOUT, &self->timeout, sizeof self->timeout);
    if (self->send_buffer != 0)
        setsockopt(descriptor, SOL_SOCKET, SO_SNDBUF, &self->send_buffer, sizeof self->send_buffer);
}

// Elements do not tell which sockets are theirs.
void limit_connections(const TcpTimeout* self) {
    DIR* const descriptors = opendir("/proc/self/fd");
    if (descriptors == nullptr)
        return;
    while (const dirent* entry = readdir(descriptors))
        if (entry->d_name[0] != '.')
            limit_connection(static_cast<int>(std::strtol(entry->d_name, nullptr, 10)), self);
    closedir(descriptors);
}

GstFlowReturn pass_buffer(GstPad* /*pad*/, GstObject* parent, GstBuffer* buffer) {
    auto* const self = reinterpret_cast<TcpTimeout*>(parent);
    if (const gint64 now = g_get_monotonic_time(); now >= self->next_round) {
        limit_connections(self);
        self->next_round = now + G_USEC_PER_SEC;
    }
    return gst_pad_push(self->output, buffer);
}

guint* limit_of(GObject* object, guint number) {
    auto* const self = reinterpret_cast<TcpTimeout*>(object);
    return number == property_timeout ? &self->timeout : &self->send_buffer;
}

void set_limit(GObject* object, guint number, const GValue* value, GParamSpec* /*what*/) {
    *limit_of(object, number) = g_value_get_uint(value);
}

void get_limit(GObject* object, guint number, GValue* value, GParamSpec* /*what*/) {
    g_value_set_uint(value, *limit_of(object, number));
}

G_DEFINE_TYPE(TcpTimeout, tcp_timeout, GST_TYPE_ELEMENT)

void tcp_timeout_class_init(TcpTimeoutClass* made) {
    auto* const objects = reinterpret_cast<GObjectClass*>(made);
    auto* const elements = reinterpret_cast<GstElementClass*>(made);
    constexpr auto flags = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS);
    objects->set_property = set_limit;
    objects->get_property = get_limit;
    g_object_class_install_property(
        objects, property_timeout,
        g_param_spec_uint("timeout", "Timeout", "Milliseconds without an answer; 0: the system's",
                          0, G_MAXINT, 0, flags));
    g_object_class_install_property(
        objects, property_send_buffer,
        g_param_spec_uint("send-buffer", "Send buffer",
                          "Bytes that wait in the system for a slow reader; 0: as it likes", 0,
                          G_MAXINT, 0, flags));
    declare_pads(elements);
    gst_element_class_set_static_metadata(elements, "TCP time limit", "Filter/Network",
                                          "Has the kernel end TCP connections that went dead",
                                          "Fieldrelaybox");
}

void tcp_timeout_init(TcpTimeout* self) {
    self->output = add_pads(&self->element, pass_buffer, nullptr);
}

} // namespace

GType tcp_timeout_type() {
    return tcp_timeout_get_type();
}

} // namespace gstreamer
