#include "panel/server.h"

#include "core/exit_status.h"
#include "core/log.h"
#include "panel/passwords.h"
#include "panel/times.h"
#include "panel/web_server.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <unistd.h>

namespace panel {

namespace {

using fieldrelaybox::exit_unable;
using fieldrelaybox::log_error;
using fieldrelaybox::log_line;

constexpr rlim_t most_descriptors = 1024; // the library has a table of as many as there may be

void limit_descriptors() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = std::min(limit.rlim_max, most_descriptors);
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

// False, told in the log, when nobody could come, or everybody could.
bool open_site(WebServer& server) {
    const Options& options = *server.options;
    Site& site = server.site;
    site.options = &options;
    site.hub = server.hub;
    site.secure = !options.certificate_file.empty();
    site.count_connections = [&server] { return count_open(server.connections); };
    if (!options.password_file.empty()) {
        site.password_hash = read_password_hash(options.password_file);
        site.password_queue = make_password_queue();
        if (site.password_hash.empty() || site.password_queue == nullptr)
            return false;
    }
    server.listener = open_listener(options.listen);
    if (server.listener.socket < 0)
        return false;
    if (site.password_hash.empty() && !is_loopback(server.listener.place.address)) {
        log_error("without a password only this computer may connect: listen at 127.0.0.1, or give "
                  "--password-file (--set-password writes one)");
        return false;
    }
    if (site.password_hash.empty())
        log_line("no password: only browsers on this computer can connect");
    site.files = load_page_files(options.page_directory);
    return true;
}

void connect_hub(WebServer& server) {
    server.hub->has_messages = [&server](BrowserId browser) {
        if (const Connection* const connection = find_browser(server.connections, browser))
            lws_callback_on_writable(connection->wsi);
    };
    server.hub->is_to_be_sent_away = [&server](BrowserId browser) {
        if (Connection* const connection = find_browser(server.connections, browser))
            shut_down(*connection);
    };
    server.site.logged_out = [&server](std::string_view token) {
        for (Connection& each : server.connections.list)
            if (each.phase == Phase::live && each.session == token)
                shut_down(each);
    };
}

void tell_address(const WebServer& server) {
    const std::string host = text_of(server.listener.place.address);
    const bool bracketed = host.find(':') != std::string::npos;
    fieldrelaybox::print_line("panel: %s://%s%s%s:%u/", server.site.secure ? "https" : "http",
                              bracketed ? "[" : "", host.c_str(), bracketed ? "]" : "",
                              unsigned{server.listener.place.port});
}

bool watch_passwords(WebServer& server) {
    const auto& queue = server.site.password_queue;
    return queue == nullptr || watch(server, descriptor_of(*queue), "passwords");
}

int run(WebServer& server) {
    if (!start_library(server) || !watch(server, server.listener.socket, "listener") ||
        !watch(server, server.hub->link.socket, "box") ||
        !watch(server, server.signals, "signals") || !watch_passwords(server))
        return exit_unable;
    connect_hub(server);
    start_timers(server);
    tell_address(server);
    while (!server.ending)
        if (lws_service(server.context, 0) < 0)
            return exit_unable;
    return 0;
}

} // namespace

int serve(const Options& options, Hub& hub) {
    WebServer server;
    server.options = &options;
    server.hub = &hub;
    limit_descriptors();
    server.signals = open_signals();
    const int status = open_site(server) ? run(server) : exit_unable;
    server.ending = true;
    close_hub(hub, now_us());
    hub.has_messages = hub.is_to_be_sent_away = nullptr;
    if (server.context != nullptr)
        lws_context_destroy(server.context);
    close(server.listener.socket);
    close(server.signals);
    return status;
}

} // namespace panel
