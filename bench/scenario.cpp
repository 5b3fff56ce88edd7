#include "scenario.h"

#include <algorithm>
#include <array>

namespace bench {

namespace {

constexpr std::array scenarios{
    Scenario{"encoders", 0, 0, 0, 4, 0.80},        Scenario{"apps", 10, 0, 0, 4, 0.70},
    Scenario{"closed-encoders", 0, 0, 0, 1, 0.60}, Scenario{"udp-clients", 0, 10, 10, 4, 0},
    Scenario{"closed-ports", 0, 10, 7, 2, 0},
};

constexpr std::uint16_t first_encoder_port = 3002;
constexpr unsigned encoder_count = 4;
constexpr std::uint16_t first_app_port = 20000;
constexpr std::uint16_t first_udp_client_port = 21000;

std::uint16_t port_at(std::uint16_t first, unsigned index) {
    return static_cast<std::uint16_t>(first + index);
}

} // namespace

const Scenario* find_scenario(std::string_view name) {
    const auto* found =
        std::ranges::find_if(scenarios, [&](const Scenario& s) { return s.name == name; });
    return found == scenarios.end() ? nullptr : found;
}

std::string scenario_names() {
    std::string names;
    for (const Scenario& scenario : scenarios)
        names.append(names.empty() ? "" : " ").append(scenario.name);
    return names;
}

std::vector<Destination> destinations_of(const Scenario& scenario) {
    std::vector<Destination> result;
    for (unsigned i = 0; i < scenario.apps; ++i)
        result.push_back({Route::app, port_at(first_app_port, i), true});
    for (unsigned i = 0; i < scenario.udp_clients; ++i)
        result.push_back({Route::udp_client, port_at(first_udp_client_port, i),
                          i >= scenario.udp_clients - scenario.open_clients});
    for (unsigned i = 0; i < encoder_count; ++i)
        result.push_back({Route::encoder, port_at(first_encoder_port, i),
                          i >= encoder_count - scenario.open_encoders});
    return result;
}

std::string configuration_of(const Scenario& scenario) {
    std::string text = "rtmp_enabled=1\nmpegts_enabled=1\ntcp_enabled=1\nrtsp_enabled=1\n";
    std::string clients;
    for (const Destination& destination : destinations_of(scenario)) {
        if (destination.route == Route::udp_client)
            clients +=
                (clients.empty() ? "127.0.0.1:" : ",127.0.0.1:") + std::to_string(destination.port);
    }
    if (!clients.empty())
        text += "udp_enabled=1\nudp_clients=" + clients + "\n";
    return text;
}

} // namespace bench
