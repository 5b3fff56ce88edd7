#include "network/files.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <string_view>

namespace network {

namespace {

std::string connection_path(const std::string& id) {
    return "/run/NetworkManager/system-connections/" + id + ".nmconnection";
}

// As a list of bytes, which has no characters of a meaning of their own.
std::string bytes_of(std::string_view name) {
    std::string list;
    for (const char byte : name)
        list += std::to_string(static_cast<std::uint8_t>(byte)) + ';';
    return list;
}

std::string hexadecimal(std::string_view name) {
    std::string digits;
    for (const char byte : name) {
        std::array<char, 3> two{};
        std::snprintf(two.data(), two.size(), "%02X", static_cast<std::uint8_t>(byte));
        digits += two.data();
    }
    return digits;
}

// Of a key file: blanks at either end would be lost.
std::string escaped(std::string_view text) {
    std::string result;
    for (const char c : text)
        result += c == '\\' ? "\\\\" : c == ' ' ? "\\s" : std::string(1, c);
    return result;
}

struct Connection {
    const char* id;
    const char* uuid;
    const char* addresses; // where they come from, and what for
};

constexpr Connection camera_connection{
    "fieldrelaybox-camera", camera_uuid,
    // The camera is no way to anywhere, and knows no names.
    "[ipv4]\nmethod=auto\nnever-default=true\nignore-auto-dns=true\ndhcp-send-hostname=false\n"
    "\n[ipv6]\nmethod=disabled\n"};

constexpr Connection home_connection{"fieldrelaybox-home", home_uuid,
                                     "[ipv4]\nmethod=auto\n\n[ipv6]\nmethod=auto\n"};

// hidden: names that are not told are asked for; those that are told are found all the same.
std::string connection_text(const Connection& connection, const Wifi& wifi) {
    std::string text = std::string("[connection]\nid=") + connection.id +
                       "\nuuid=" + connection.uuid +
                       "\ntype=wifi\ninterface-name=" + wifi.interface_name +
                       "\nautoconnect=true\nautoconnect-priority=100\nautoconnect-retries=0\n"
                       "\n[wifi]\nmode=infrastructure\nhidden=true\npowersave=2\nssid=" +
                       bytes_of(wifi.name) + "\n\n";
    if (!wifi.phrase.empty())
        text += "[wifi-security]\nkey-mgmt=wpa-psk\npsk=" + escaped(wifi.phrase) + "\n\n";
    return text + connection.addresses;
}

File connection_file(const Connection& connection, const std::optional<Wifi>& wifi) {
    return {connection_path(connection.id), wifi ? connection_text(connection, *wifi) : ""};
}

// Nothing in hostapd's lines has a meaning of its own behind the "=".
std::string hostapd_text(const AccessPoint& wanted) {
    const Wifi& wifi = wanted.wifi;
    std::string text = "interface=" + wifi.interface_name +
                       "\ndriver=nl80211\nlogger_syslog=0\nssid2=" + hexadecimal(wifi.name) +
                       "\nutf8_ssid=1\nhw_mode=" + (wanted.band == 5 ? "a" : "g") +
                       "\nchannel=" + std::to_string(wanted.channel) +
                       "\nieee80211n=1\nwmm_enabled=1\n";
    if (wanted.country != "00")
        text += "country_code=" + wanted.country + "\nieee80211d=1\n";
    if (!wifi.phrase.empty())
        text += "auth_algs=1\nwpa=2\nwpa_key_mgmt=WPA-PSK\nrsn_pairwise=CCMP\n" +
                std::string(wifi.phrase.size() == key_digits ? "wpa_psk=" : "wpa_passphrase=") +
                wifi.phrase + '\n';
    return text;
}

// Addresses only. Without a router and names in the answer phones keep their own way to the
// internet, which the box does not have for them.
std::string dnsmasq_text(const AccessPoint& wanted) {
    return "port=0\ninterface=" + wanted.wifi.interface_name +
           "\nexcept-interface=lo\nbind-dynamic\nquiet-dhcp\ndhcp-authoritative\nno-ping\n"
           "dhcp-range=192.168.77.10,192.168.77.199,255.255.255.0,12h\n"
           "dhcp-option=option:router\ndhcp-option=option:dns-server\n"
           "dhcp-leasefile=" +
           leases_file + '\n';
}

// What its search is told.
File search_file(const char* name, const std::optional<Wifi>& wifi) {
    return {own_path(name),
            wifi ? "INTERFACE=" + wifi->interface_name + "\nSSID=" + hexadecimal(wifi->name) + '\n'
                 : ""};
}

} // namespace

std::string own_path(const char* name) {
    return std::string(own_folder) + '/' + name;
}

std::vector<File> camera_files(const std::optional<Wifi>& camera) {
    return {connection_file(camera_connection, camera), search_file("camera.env", camera)};
}

std::vector<File> home_files(const std::optional<Wifi>& home) {
    return {connection_file(home_connection, home), search_file("network.env", home)};
}

std::vector<File> access_point_files(const std::optional<AccessPoint>& access_point) {
    const std::string name = access_point ? access_point->wifi.interface_name : "";
    return {{own_path("hostapd.conf"), access_point ? hostapd_text(*access_point) : ""},
            {own_path("dnsmasq.conf"), access_point ? dnsmasq_text(*access_point) : ""},
            {own_path("access-point.env"), access_point ? "AP_INTERFACE=" + name + '\n' : ""},
            // Added to what the owner keeps from NetworkManager.
            {unmanaged_file,
             access_point ? "[keyfile]\nunmanaged-devices+=interface-name:" + name + '\n' : ""}};
}

} // namespace network
