// The library that carries HTTP and WebSockets: how it is set up, and where its events go.
#include "core/clock.h"
#include "core/log.h"
#include "panel/requests.h"
#include "panel/times.h"
#include "panel/web_server.h"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <string_view>

namespace panel {

WebServer& server_of(lws* wsi) {
    return *static_cast<WebServer*>(lws_context_user(lws_get_context(wsi)));
}

namespace {

constexpr std::int64_t sweep_us = second_us;
constexpr unsigned header_size = 4096; // all headers of a request

void tell_library_fault(int /*level*/, const char* line) {
    static fieldrelaybox::LogLimit limit;
    std::string_view text(line);
    text.remove_suffix(text.ends_with('\n') ? 1 : 0);
    fieldrelaybox::log_limited_warning(limit, fieldrelaybox::timer_clock(), "web: %.*s",
                                       static_cast<int>(text.size()), text.data());
}

// Events of browsers.
int take_browser_event(lws* wsi, lws_callback_reasons reason, void* /*user*/, void* data,
                       std::size_t size) {
    auto* const connection = static_cast<Connection*>(lws_get_opaque_user_data(wsi));
    if (connection == nullptr)
        return 0;
    WebServer& server = server_of(wsi);
    connection->wsi = wsi;
    if (reason == LWS_CALLBACK_WSI_DESTROY) {
        leave_hub(server, *connection);
        remove_connection(server.connections, connection->id);
        return 0;
    }
    const int result = take_http_event(server, *connection, reason, data, size);
    return result != 0 ? result : take_live_event(server, *connection, reason, data, size);
}

int take_listener_event(lws* wsi, lws_callback_reasons reason, void* /*user*/, void* /*data*/,
                        std::size_t /*size*/) {
    if (reason == LWS_CALLBACK_RAW_RX_FILE)
        accept_browsers(server_of(wsi));
    return 0;
}

int take_box_event(lws* wsi, lws_callback_reasons reason, void* /*user*/, void* /*data*/,
                   std::size_t /*size*/) {
    if (reason == LWS_CALLBACK_RAW_RX_FILE) {
        WebServer& server = server_of(wsi);
        take_from_box(*server.hub, now_us());
        plan_hub_time(server);
    }
    return 0;
}

int take_signal_event(lws* wsi, lws_callback_reasons reason, void* /*user*/, void* /*data*/,
                      std::size_t /*size*/) {
    if (reason == LWS_CALLBACK_RAW_RX_FILE)
        take_signal(server_of(wsi));
    return 0;
}

int take_password_event(lws* wsi, lws_callback_reasons reason, void* /*user*/, void* /*data*/,
                        std::size_t /*size*/) {
    if (reason == LWS_CALLBACK_RAW_RX_FILE)
        take_checked_passwords(server_of(wsi));
    return 0;
}

// The first is what browsers get; they are found by name otherwise.
constexpr std::array<lws_protocols, 6> protocols{{
    {"browser", take_browser_event, 0, longest_request, 0, nullptr, 0},
    {"listener", take_listener_event, 0, 0, 0, nullptr, 0},
    {"box", take_box_event, 0, 0, 0, nullptr, 0},
    {"signals", take_signal_event, 0, 0, 0, nullptr, 0},
    {"passwords", take_password_event, 0, 0, 0, nullptr, 0},
    {nullptr, nullptr, 0, 0, 0, nullptr, 0},
}};

// For the few answers that the library gives by itself.
const lws_protocol_vhost_options* library_headers() {
    static std::array<lws_protocol_vhost_options, common_headers.size()> rows;
    for (std::size_t i = 0; i < rows.size(); i++)
        rows.at(i) = {i + 1 < rows.size() ? &rows.at(i + 1) : nullptr, nullptr,
                      common_headers.at(i).name, common_headers.at(i).value};
    return rows.data();
}

void take_hub_time(lws_sorted_usec_list_t* timer) {
    WebServer& server = *lws_container_of(timer, Timer, entry)->server;
    pass_time(*server.hub, now_us());
    plan_hub_time(server);
}

void sweep(lws_sorted_usec_list_t* timer) {
    WebServer& server = *lws_container_of(timer, Timer, entry)->server;
    end_overdue(server.connections, now_us());
    fieldrelaybox::flush_log();
    lws_sul_schedule(server.context, 0, timer, sweep, sweep_us);
}

void set_tls(lws_context_creation_info& info, const Options& options) {
    if (options.certificate_file.empty())
        return;
    info.options |= LWS_SERVER_OPTION_DO_SSL_GLOBAL_INIT;
    info.ssl_cert_filepath = options.certificate_file.c_str();
    info.ssl_private_key_filepath = options.key_file.c_str();
    info.ssl_options_set = SSL_OP_NO_TLSv1 | SSL_OP_NO_TLSv1_1 | SSL_OP_NO_RENEGOTIATION;
    info.alpn = "http/1.1";
}

} // namespace

bool start_library(WebServer& server) {
    // Whoever does not answer a ping is gone.
    static lws_retry_bo_t idle_policy{};
    idle_policy.secs_since_valid_ping = 10;
    idle_policy.secs_since_valid_hangup = 20;
    lws_set_log_level(LLL_ERR, tell_library_fault);
    lws_context_creation_info info{};
    info.port = CONTEXT_PORT_NO_LISTEN_SERVER; // listening is done here
    info.protocols = protocols.data();
    info.options = LWS_SERVER_OPTION_EXPLICIT_VHOSTS | LWS_SERVER_OPTION_VALIDATE_UTF8;
    info.user = &server;
    info.max_http_header_data = header_size;
    info.max_http_header_pool = 2 * most_connections;
    info.timeout_secs = static_cast<unsigned>(request_time_us / second_us);
    info.timeout_secs_ah_idle = info.timeout_secs;
    info.keepalive_timeout = static_cast<int>(rest_time_us / second_us);
    info.retry_and_idle_policy = &idle_policy;
    info.headers = library_headers();
    set_tls(info, *server.options);
    server.context = lws_create_context(&info);
    if (server.context != nullptr)
        server.vhost = lws_create_vhost(server.context, &info);
    if (server.vhost == nullptr)
        fieldrelaybox::log_error("cannot serve%s",
                                 server.site.secure ? " with this certificate and key" : "");
    return server.vhost != nullptr;
}

bool watch(WebServer& server, int descriptor, const char* protocol) {
    lws_sock_file_fd_type file{};
    file.filefd = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    return file.filefd >= 0 && lws_adopt_descriptor_vhost(server.vhost, LWS_ADOPT_RAW_FILE_DESC,
                                                          file, protocol, nullptr) != nullptr;
}

void plan_hub_time(WebServer& server) {
    if (server.ending)
        return;
    const std::int64_t due = due_us(*server.hub);
    const std::int64_t now = now_us();
    if (due == never_us)
        lws_sul_cancel(&server.hub_timer.entry);
    else
        lws_sul_schedule(server.context, 0, &server.hub_timer.entry, take_hub_time,
                         std::max<std::int64_t>(1, due - now));
}

void start_timers(WebServer& server) {
    server.hub_timer.server = server.sweep_timer.server = &server;
    lws_sul_schedule(server.context, 0, &server.sweep_timer.entry, sweep, sweep_us);
    plan_hub_time(server);
}

} // namespace panel
