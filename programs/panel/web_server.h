// What the parts of the web side share: one record, and the ways into each part. Everything here
// runs in the one loop of the library.
#pragma once

#include "panel/answers.h"
#include "panel/connections.h"
#include "panel/hub.h"
#include "panel/listening.h"
#include "panel/options.h"

#include <cstddef>
#include <cstdint>
#include <libwebsockets.h>

namespace panel {

struct WebServer;

struct Timer {
    lws_sorted_usec_list_t entry{};
    WebServer* server = nullptr;
};

struct WebServer {
    const Options* options = nullptr;
    Hub* hub = nullptr;
    Site site;
    Listener listener;
    Connections connections;
    lws_context* context = nullptr;
    lws_vhost* vhost = nullptr;
    Timer hub_timer;
    Timer sweep_timer;
    int signals = -1;
    bool ending = false;
};

WebServer& server_of(lws* wsi);

// False, told in the log, when the library does not start: mostly for its certificate.
bool start_library(WebServer& server);
void start_timers(WebServer& server);

// What can be read from the descriptor becomes an event of the protocol: "listener", "box",
// "signals" or "passwords". The library closes what it is given, so it gets a copy.
bool watch(WebServer& server, int descriptor, const char* protocol);

// A descriptor from which the signals that matter are read.
int open_signals();
void take_signal(WebServer& server);

// Takes who comes, as many as there are places for.
void accept_browsers(WebServer& server);

// After the hub was entered: its next time may have changed.
void plan_hub_time(WebServer& server);

// Events of a connection while it speaks HTTP, and as a WebSocket. A result other than 0 ends it.
int take_http_event(WebServer& server, Connection& connection, lws_callback_reasons reason,
                    const void* data, std::size_t size);
int take_live_event(WebServer& server, Connection& connection, lws_callback_reasons reason,
                    const void* data, std::size_t size);

// Those that waited for theirs get their answers.
void take_checked_passwords(WebServer& server);

// What a browser held is let go; more calls change nothing.
void leave_hub(WebServer& server, Connection& connection);

} // namespace panel
