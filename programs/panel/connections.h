// The connections that browsers hold, and who has to go when they are too many: one that waits or
// rests, never one that is being served.
#pragma once

#include "panel/holds.h"
#include "panel/listening.h"
#include "panel/page_files.h"
#include "panel/rates.h"
#include "panel/web_request.h"

#include <cstddef>
#include <cstdint>
#include <list>
#include <string>

struct lws;

namespace panel {

inline constexpr std::size_t most_connections = 256;
inline constexpr std::size_t most_of_one_address = 16;
inline constexpr std::size_t most_of_one_network = 64; // IPv6
// Beyond these, so many are told that there is no room.
inline constexpr std::size_t most_turned_away = 32;
inline constexpr std::size_t most_turned_away_of_one_address = 4;
inline constexpr Rate message_rate{.most = 120, .a_second = 60}; // of one WebSocket
inline constexpr std::int64_t request_time_us = 5'000'000;       // for a request to arrive whole
inline constexpr std::int64_t rest_time_us = 30'000'000;         // between two requests
inline constexpr std::int64_t answer_time_us = 60'000'000;       // for an answer to be taken

enum class Phase : std::uint8_t {
    waiting,  // for its first request, whole
    resting,  // kept after an answer
    checking, // the password that it gave is being checked
    served,   // an answer is on its way
    live,     // WebSocket
    ending,   // shut down; the library has not noticed yet
};

// An answer on its way.
struct Sending {
    std::string head; // sent first, and empty from then on
    SharedText body;  // may be null
    std::size_t sent = 0;
    bool close_after = false;
};

struct Connection {
    std::uint64_t id = 0;
    int socket = -1;
    lws* wsi = nullptr;
    Address address{};
    Phase phase = Phase::waiting;
    std::int64_t since_us = 0;   // in that phase
    bool is_turned_away = false; // is only told so
    WebRequest request;
    std::string message; // of a WebSocket, so far
    Sending sending;
    std::string session; // the token that a WebSocket was opened with
    BrowserId browser = 0;
    Allowance messages; // of a WebSocket, by message_rate
};

struct Connections {
    std::list<Connection> list; // the oldest first
    std::uint64_t last_id = 0;
};

void enter_phase(Connection& connection, Phase phase, std::int64_t now_us);

// Ends it: the library notices by itself.
void shut_down(Connection& connection);

enum class Admission : std::uint8_t { served, turned_away, refused };

// How one more of the address may come; one that waits or rests is shut down for it where that is
// needed.
Admission make_room(Connections& connections, const Address& address);

// Shuts down what has been in its phase for too long.
void end_overdue(Connections& connections, std::int64_t now_us);

Connection& add_connection(Connections& connections, int socket, const Address& address,
                           std::int64_t now_us);
void remove_connection(Connections& connections, std::uint64_t id);
Connection* find_connection(Connections& connections, std::uint64_t id);
Connection* find_browser(Connections& connections, BrowserId browser);

// Those that are not ending.
std::size_t count_open(const Connections& connections);

} // namespace panel
