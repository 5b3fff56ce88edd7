// The files that make the networks: connections for NetworkManager, what hostapd and dnsmasq read.
// Pass phrases are nowhere else.
#pragma once

#include "network/wishes.h"

#include <string>
#include <vector>

namespace network {

inline constexpr const char* own_folder = "/run/fieldrelaybox-network";
// Of a file in it.
std::string own_path(const char* name);

// Who has an address of the access point's network.
inline constexpr const char* leases_file = "/run/fieldrelaybox-network/leases";
// Keeps NetworkManager's hands off the access point's interface.
inline constexpr const char* unmanaged_file =
    "/run/NetworkManager/conf.d/fieldrelaybox-access-point.conf";

// Of the connections at NetworkManager.
inline constexpr const char* camera_uuid = "af5e5dc2-911b-4d07-98fd-602a1f460d7c";
inline constexpr const char* home_uuid = "130583d6-a07d-4777-bfe2-0cce54d88f16";

struct File {
    std::string path;
    std::string text; // empty: it is not there

    bool operator==(const File&) const = default;
};

// Of each network, the first of them with the pass phrase; for one that is off the same with empty
// texts.
std::vector<File> camera_files(const std::optional<Wifi>& camera);
std::vector<File> home_files(const std::optional<Wifi>& home);
std::vector<File> access_point_files(const std::optional<AccessPoint>& access_point);

} // namespace network
