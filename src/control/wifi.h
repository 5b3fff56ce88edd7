// What the system's tools know of the network interfaces. Interface names that are no plain word
// are never handed to a shell: nothing is asked and nothing reported.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace fieldrelaybox {

// A tool that takes longer is given up.
inline constexpr int tool_time_limit_ms = 10'000;

// The network names in reach of the interface in the order of the scan, separated by commas. A
// hidden network is an empty name; names are neither escaped nor made unique. What exceeds
// longest_list characters is left out name by name. A radio that something else scans with is asked
// again; one that gives no answer within tool_time_limit_ms is logged. Takes several seconds.
std::string scan_networks(const std::string& interface_name, std::size_t longest_list);

// The network that the interface has joined as wpa_cli reports it, with the line end, at most 39
// characters; empty when there is none.
std::string station_ssid(const std::string& interface_name);

// The camera's Wi-Fi link as ./bin/wlanstatus reports it.
struct LinkStatus {
    std::int32_t frequency = 0; // MHz
    std::uint8_t quality = 0;
    std::uint8_t quality_max = 0;
    std::uint8_t signal = 0;         // low 8 bits of the reported level
    std::optional<std::string> ssid; // absent when not reported
};

// Takes over what one line of the tool's output reports; a line that is not JSON reports nothing.
void read_link_status_line(std::string_view line, LinkStatus& status);

inline constexpr std::chrono::milliseconds link_status_patience{1000};

// Fills result with what is reported for the interface; what is not reported stays as it was.
// Waits for the tool for patience at most: a slower one goes on in the background, one at a time.
// Meanwhile the last report for the same interface holds, for 10 s.
void query_link_status(const std::string& interface_name, LinkStatus& result,
                       std::chrono::milliseconds patience = link_status_patience);

// The first IPv4 address of the interface, dotted; nothing when it has none.
std::optional<std::string> interface_address(const std::string& interface_name);

inline constexpr std::size_t longest_interface_list = 1023;

// All IPv4 addresses but those of "lo" in the system's order, as JSON objects with "name" and
// "addr", separated by commas. What exceeds longest_list characters is left out object by object.
std::string interface_list(std::size_t longest_list = longest_interface_list);

} // namespace fieldrelaybox
