// Settings of the Wi-Fi networks and the relay server; see setting.h.
#pragma once

#include "config/setting_macros.h"

namespace fieldrelaybox {

inline constexpr std::array<std::string_view, 3> network_commands{
    "touch /run/wlan.update", "killall -q data-receiver", "killall -q video-receiver"};

// clang-format off
inline constexpr std::array network_settings{
    Setting{SETTING(networks, ap_iface, text),
        .comment = "# Interface for Wi-Fi access point\r\n"
                   "# disabled if empty\r\n",
        .label = "Access point interface", .help = "interface of the access point; empty is off",
        .report = {"ap_iface", 380}, .parameters = {{{"wifi", 7}}},
        .conversion = Conversion::interface_code, .commands = network_commands},
    Setting{SETTING(networks, ap_ssid, quoted_text),
        .comment = "# SSID for Wi-Fi access point\r\n",
        .label = "Access point name", .help = "name of the access point",
        .report = {"ap_ssid", 390}, .parameters = {{{"wifi", 8}}}, .commands = network_commands},
    Setting{SETTING(networks, ap_psk, quoted_text),
        .comment = "# Password for Wi-Fi access point\r\n",
        .label = "Access point password", .help = "password of the access point",
        .report = {"ap_psk", 400}, .parameters = {{{"wifi", 9}}}, .commands = network_commands},
    Setting{SETTING(networks, ap_mode, integer),
        .comment = "# Wi-Fi Access Point mode\r\n"
                   "# 2 - 2.4GHz, 5 - 5GHz\r\n",
        .label = "Access point band", .help = "band of the access point",
        .choices = "2 2.4 GHz|5 5 GHz", .sample = "2",
        .report = {"ap_mode", 410}, .parameters = {{{"wifi", 10}}},
        .conversion = Conversion::band, .commands = network_commands},
    Setting{SETTING(networks, ap_country, text),
        .comment = "# Wi-Fi Access Point country code\r\n"
                   "# 00, CN, US\r\n",
        .label = "Access point country", .help = "country code: `00`, `CN`, `US` ...",
        .sample = "00",
        .report = {"ap_country", 430}, .parameters = {{{"wifi", 12}}},
        .commands = network_commands},
    Setting{SETTING(networks, ap_channel, integer),
        .comment = "# Wi-Fi Access Point channel\r\n"
                   "# 1 - 13 for 2.4Ghz and 36 - 42 for 5Ghz\r\n",
        .label = "Access point channel",
        .help = "channel of the access point: 1 to 13 (2.4 GHz); 36, 40, 44, 48 (5 GHz)",
        .sample = "6", .report = {"ap_channel", 420}, .parameters = {{{"wifi", 11}}},
        .commands = network_commands},
    Setting{SETTING(networks, wifi_iface, text),
        .comment = "# Interface for Wi-Fi network connection\r\n"
                   "# disabled if empty\r\n",
        .label = "Network interface",
        .help = "interface of the home network; empty is off",
        .report = {"lan_iface", 440}, .parameters = {{{"wifi", 4}}},
        .conversion = Conversion::interface_code, .commands = network_commands},
    Setting{SETTING(networks, wifi_ssid, quoted_text),
        .comment = "# SSID for network connection \r\n",
        .label = "Network name", .help = "name of the home network",
        .report = {"lan_ssid", 450}, .parameters = {{{"wifi", 5}}}, .commands = network_commands},
    Setting{SETTING(networks, wifi_psk, quoted_text),
        .comment = "# Password for network connection \r\n",
        .label = "Network password", .help = "password of the home network",
        .report = {"lan_psk", 460}, .parameters = {{{"wifi", 6}}}, .commands = network_commands},
    Setting{SETTING(networks, camera_iface, text),
        .comment = "# Interface for DJI Osmo connection\r\n"
                   "# disabled if empty\r\n",
        .label = "Camera interface",
        .help = "interface that joins the camera; empty is off. Letters, digits, `.`, `_` and `-` "
                "only, otherwise the link is never asked for",
        .report = {"cam_iface", 470}, .parameters = {{{"wifi", 1}}},
        .conversion = Conversion::interface_code, .commands = network_commands},
    Setting{SETTING(networks, camera_ssid, quoted_text),
        .comment = "# DJI Osmo Wi-Fi SSID \r\n",
        .label = "Camera name", .help = "name of the camera's network",
        .report = {"cam_ssid", 480}, .parameters = {{{"wifi", 2}}}, .commands = network_commands},
    Setting{SETTING(networks, camera_psk, quoted_text),
        .comment = "# DJI Osmo Wi-Fi password \r\n",
        .label = "Camera password", .help = "password of the camera's network",
        .report = {"cam_psk", 490}, .parameters = {{{"wifi", 3}}}, .commands = network_commands},
};

inline constexpr std::array server_settings{
    Setting{SETTING(server, server_enabled, boolean),
        .comment = "##################### \r\n"
                   "# Server connection \r\n"
                   "##################### \r\n"
                   "\r\n"
                   "# Server connection enabled \r\n" ENABLED_OR_DISABLED,
        .label = "Relay server",
        .help = "connection to a relay server, through which apps reach the box from afar",
        .report = {"s1", 510}, .parameters = {{{"server_connection", 6}}}},
    Setting{SETTING(server, server_host, quoted_text),
        .comment = "# Server host \r\n",
        .label = "Server address", .help = "its address, dotted IPv4; names are not resolved",
        .initial = {DefaultTime::after_loading, FIELDRELAYBOX_DEFAULT_SERVER_HOST,
                    "set when the daemon is built"},
        .report = {"s2", 520}, .parameters = {{{"server_connection", 1, "host"}}}},
    Setting{SETTING(server, server_port, integer),
        .comment = "# Server port \r\n",
        .label = "Server port", .help = "its UDP port", .limits = {1, 65535},
        .initial = {DefaultTime::after_loading, "4242"}, .sample = "4242",
        .report = {"s3", 530}, .parameters = {{{"server_connection", 2, "port"}}}},
    Setting{SETTING(server, server_user, quoted_text),
        .comment = "# Server user name \r\n",
        .label = "Server user", .help = "user name",
        .report = {"s4", 540}, .parameters = {{{"server_connection", 3, "user"}}}},
    Setting{SETTING(server, server_pass, quoted_text),
        .comment = "# Server password \r\n",
        .label = "Server password", .help = "password; it crosses the network readable",
        .report = {"s5", 550}, .parameters = {{{"server_connection", 4, "password"}}}},
    Setting{SETTING(server, server_devid, quoted_text),
        .comment = "# Server device id \r\n",
        .label = "Device id", .help = "device id: the box's name at the server",
        .report = {"s6", 560}, .parameters = {{{"server_connection", 5, "device-id"}}}},
};
// clang-format on

} // namespace fieldrelaybox
