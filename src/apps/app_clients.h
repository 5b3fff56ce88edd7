// The table of registered apps. The control server adds and removes them, the supervisor loop drops
// the silent ones, every sender of messages reads the targets.
#pragma once

#include "core/sockets.h"
#include "fieldrelaybox/statistics.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace fieldrelaybox {

inline constexpr std::size_t app_client_capacity = 10;
static_assert(app_client_capacity <= FIELDRELAYBOX_STATISTICS_PEERS); // each has its counts
inline constexpr std::int32_t app_client_time_limit_ms = 5000;

// Returns 1 when a new entry was made (the app gets the one-byte reply), 0 when an entry was
// refreshed or the table is full.
int add_app_client(const Endpoint& sender, bool data_only, std::int64_t now);

// Returns 1 when an entry was cleared, 0 when none matched.
int remove_app_client(const Endpoint& sender);

// Drops the apps that have been silent for more than 5 s and publishes the number of the others.
void sweep_app_clients(std::int64_t now);

void clear_app_clients();

// What a sender of messages needs to know of one app.
struct AppClientTarget {
    sockaddr_in address;
    std::uint8_t place; // in the table and among the statistics' apps
    bool data_only;
    bool is_server; // stands for the remote server: goes through its link
};

struct AppClientTargets {
    std::array<AppClientTarget, app_client_capacity> entries;
    std::size_t count;
    std::uint32_t version; // of the table and of the server settings it was made from
};

// The registered apps in table order, as a copy of the calling thread's own that is renewed only
// when the table or the server settings changed. Valid until the thread's next call.
const AppClientTargets& app_client_targets();

// Address and port as one number; 0 for none.
constexpr std::uint64_t app_key(const sockaddr_in& app) {
    return std::uint64_t{app.sin_addr.s_addr} << 16 | app.sin_port;
}

bool is_registered_app(std::uint64_t key);

// Counts one datagram of this many bytes for the app it came from, if that is registered.
void count_from_app(const sockaddr_in& sender, std::size_t bytes);

// To be called after the remote server's address changed, so that is_server is judged anew.
void app_client_server_changed();

} // namespace fieldrelaybox
