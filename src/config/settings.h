// The settings, and what reads and writes them as text.
#pragma once

#include "config/setting.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace fieldrelaybox {

// In the order of the file.
std::span<const Setting> settings();

// Null when there is no such key.
const Setting* find_setting(std::string_view key);

// The settings that a parameter changes, the roll speed among them, in the order of its values.
struct ParameterPart {
    const Setting* setting;
    int value; // 1 is "value", 2 is "value2" and so on
};
std::vector<ParameterPart> settings_of_parameter(std::string_view name);

// Of the setting udp_clients; audio goes to the port above a client's own.
inline constexpr std::size_t udp_client_limit = 10;
inline constexpr int udp_client_ports = 2;
inline constexpr std::uint16_t highest_udp_client_port = 0x10000 - udp_client_ports;

// Converts value and stores it in the setting's field of record. Not for the live record while
// other threads run.
void read_setting(const Setting& setting, const char* value, ConfigRecord& record);

// The setting's line of the file, "key=value" without a line end.
std::string format_setting(const Setting& setting, const ConfigRecord& record);

// Puts in the defaults of this time: all before loading, those of empty fields after it.
void set_defaults(DefaultTime time, ConfigRecord& record);

} // namespace fieldrelaybox
