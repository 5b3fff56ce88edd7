// What wlanstatus prints: the state of a Wi-Fi link as JSON lines.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace wlanstatus {

struct Link {
    std::string ssid;            // as the network announces it, any bytes
    std::uint32_t frequency = 0; // MHz
    std::optional<int> signal;   // dBm, below zero; nothing when the driver does not tell it
};

// The network name among the information elements of a beacon; "" when it is hidden or missing.
std::string find_ssid(std::span<const std::uint8_t> information_elements);

// Link quality out of 70: -110 dBm and below is 0, -40 dBm and above is 70.
inline constexpr int best_quality = 70;
int link_quality(int signal);

// Two lines, since a reader takes 98 characters a line at most. Control characters in the name
// become '?'. Quality and signal are left out when the signal is unknown.
std::string format_report(const Link& link);

} // namespace wlanstatus
