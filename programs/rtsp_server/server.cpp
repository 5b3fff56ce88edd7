#include "rtsp_server/server.h"

#include "rtsp_server/viewers.h"

#include <array>
#include <cstdio>
#include <gst/rtsp-server/rtsp-server.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <string>

namespace rtsp_server {

namespace {

// Each takes half a megabyte and four threads.
constexpr guint most_viewers = 24;

// A connection whose other end is gone without a word ends after 10 s + 4 * 5 s.
// What the kernel holds for a slow player is bounded, since it is old when it comes.
struct SocketOption {
    int level;
    int number;
    int value;
};
constexpr std::array socket_options{
    SocketOption{SOL_SOCKET, SO_KEEPALIVE, 1},
    SocketOption{IPPROTO_TCP, TCP_KEEPIDLE, 10},         // s
    SocketOption{IPPROTO_TCP, TCP_KEEPINTVL, 5},         // s
    SocketOption{IPPROTO_TCP, TCP_KEEPCNT, 4},           //
    SocketOption{IPPROTO_TCP, TCP_USER_TIMEOUT, 30'000}, // ms in which nothing is taken
    SocketOption{SOL_SOCKET, SO_SNDBUF, 128 * 1024},     // bytes
};

void set_socket_options(GstRTSPClient* client) {
    GstRTSPConnection* connection = gst_rtsp_client_get_connection(client);
    GSocket* socket = gst_rtsp_connection_get_read_socket(connection);
    for (const SocketOption& option : socket_options)
        g_socket_set_option(socket, option.level, option.number, option.value, nullptr);
}

void end_session(GstRTSPClient* client, gpointer session) {
    GstRTSPSessionPool* sessions = gst_rtsp_client_get_session_pool(client);
    gst_rtsp_session_pool_remove(sessions, static_cast<GstRTSPSession*>(session));
    g_object_unref(sessions);
}

// A session lasts as long as its connection, since players say nothing while the camera is away.
void keep_session(GstRTSPClient* client, GstRTSPSession* session, gpointer /*unused*/) {
    gst_rtsp_session_prevent_expire(session);
    g_signal_connect_object(client, "closed", G_CALLBACK(end_session), session, GConnectFlags{});
}

void start_watching(GstRTSPClient* /*client*/, GstRTSPContext* context, gpointer /*unused*/) {
    let_watch(gst_rtsp_session_media_get_media(context->sessmedia), true);
}

void stop_watching(GstRTSPClient* /*client*/, GstRTSPContext* context, gpointer /*unused*/) {
    let_watch(gst_rtsp_session_media_get_media(context->sessmedia), false);
}

void welcome(GstRTSPServer* /*server*/, GstRTSPClient* client, gpointer /*unused*/) {
    set_socket_options(client);
    g_signal_connect(client, "new-session", G_CALLBACK(keep_session), nullptr);
    g_signal_connect(client, "play-request", G_CALLBACK(start_watching), nullptr);
    g_signal_connect(client, "pause-request", G_CALLBACK(stop_watching), nullptr);
}

void configure(GstRTSPMediaFactory* /*factory*/, GstRTSPMedia* media, gpointer /*unused*/) {
    add_viewer(media);
}

void offer_video(GstRTSPServer* server) {
    GstRTSPMediaFactory* factory = gst_rtsp_media_factory_new();
    gst_rtsp_media_factory_set_launch(factory, viewer_pipeline);
    g_signal_connect(factory, "media-configure", G_CALLBACK(configure), nullptr);
    GstRTSPMountPoints* mounts = gst_rtsp_server_get_mount_points(server);
    gst_rtsp_mount_points_add_factory(mounts, "/video", factory);
    g_object_unref(mounts);
}

void bound_viewers(GstRTSPServer* server) {
    GstRTSPSessionPool* sessions = gst_rtsp_server_get_session_pool(server);
    gst_rtsp_session_pool_set_max_sessions(sessions, most_viewers);
    g_object_unref(sessions);
    GstRTSPThreadPool* threads = gst_rtsp_server_get_thread_pool(server);
    gst_rtsp_thread_pool_set_max_threads(threads, -1); // nobody waits for another's requests
    g_object_unref(threads);
}

guint count_connections(GstRTSPServer* server) {
    GList* clients = gst_rtsp_server_client_filter(server, nullptr, nullptr);
    const guint count = g_list_length(clients);
    g_list_free_full(clients, g_object_unref);
    return count;
}

gboolean admit(GSocket* entrance, GIOCondition condition, gpointer user) {
    auto* server = static_cast<GstRTSPServer*>(user);
    if (count_connections(server) < most_viewers)
        return gst_rtsp_server_io_func(entrance, condition, server);
    GSocket* refused = g_socket_accept(entrance, nullptr, nullptr);
    g_clear_object(&refused); // closes it
    return G_SOURCE_CONTINUE;
}

bool open_entrance(GstRTSPServer* server, std::uint16_t port) {
    gst_rtsp_server_set_service(server, std::to_string(port).c_str());
    GError* fault = nullptr;
    GSocket* socket = gst_rtsp_server_create_socket(server, nullptr, &fault);
    if (socket == nullptr) {
        std::fprintf(stderr, "ERROR: port %d: %s\n", port, fault->message);
        g_clear_error(&fault);
        return false;
    }
    GSource* entrance = g_socket_create_source(socket, G_IO_IN, nullptr);
    g_object_unref(socket); // the source holds it
    g_source_set_callback(entrance, G_SOURCE_FUNC(admit), server, nullptr);
    g_source_attach(entrance, nullptr);
    g_source_unref(entrance); // the context holds it
    return true;
}

} // namespace

bool start_server(std::uint16_t port) {
    GstRTSPServer* server = gst_rtsp_server_new();
    bound_viewers(server);
    offer_video(server);
    g_signal_connect(server, "client-connected", G_CALLBACK(welcome), nullptr);
    const bool is_open = open_entrance(server, port);
    if (!is_open)
        g_object_unref(server);
    return is_open;
}

} // namespace rtsp_server
