// The raw-UDP clients of the setting udp_clients.
#pragma once

#include "config/settings.h"
#include "fieldrelaybox/statistics.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <netinet/in.h>
#include <string_view>

namespace fieldrelaybox {

inline constexpr std::size_t udp_client_capacity = udp_client_limit;
static_assert(udp_client_capacity <= FIELDRELAYBOX_STATISTICS_PEERS); // each has its counts

struct UdpClients {
    struct Entry {
        sockaddr_in video; // the client's port
        sockaddr_in audio; // the port above it
    };
    // An entry's place is also that of its counts among the statistics' udp_clients.
    std::array<Entry, udp_client_capacity> entries;
    std::size_t count;
    std::uint32_t version;
};

// Replaces the list by the "address:port" items of a comma-separated text. An item is a dotted IPv4
// address and a port 1..65534; anything else, and where the box itself receives, is skipped with a
// log line. The first 10 count.
void parse_udp_clients(std::string_view list);

// Takes the clients out at whose address the box itself receives by now, and those back in where it
// no longer does; called on every supervisor pass. Logs what changed. Asks the system for its
// addresses only while a client has such a port.
void check_udp_clients();

// The list, as a copy of the calling thread's own that is renewed only when the list changed. Valid
// until the thread's next call.
const UdpClients& udp_clients();

} // namespace fieldrelaybox
