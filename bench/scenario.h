// Who gets a copy of every datagram in each scenario, in the order of sending.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

enum class Route { app, udp_client, encoder };

struct Destination {
    Route route;
    std::uint16_t port;
    bool open; // false: nobody listens there
};

struct Scenario {
    std::string_view name;
    unsigned apps;
    unsigned udp_clients;
    unsigned open_clients;  // of these; nobody listens at the others
    unsigned open_encoders; // of the four
    double burst_limit;     // bursts: the CPU in parts of the bare loop's; 0: none
};

// nullptr when there is none of this name.
const Scenario* find_scenario(std::string_view name);
std::string scenario_names();

std::vector<Destination> destinations_of(const Scenario& scenario);

// The daemon's configuration file for it. Apps are not in there: they register.
std::string configuration_of(const Scenario& scenario);

} // namespace bench
