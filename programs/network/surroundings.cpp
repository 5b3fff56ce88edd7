#include "network/surroundings.h"

#include "config/whole_files.h"
#include "core/shell.h"
#include "network/files.h"

#include <algorithm>
#include <filesystem>
#include <ifaddrs.h>
#include <memory>
#include <net/if.h>
#include <netinet/in.h>
#include <system_error>

namespace network {

namespace {

namespace fs = std::filesystem;

constexpr int question_ms = 10'000;

fs::path place_of(const std::string& interface_name) {
    return fs::path("/sys/class/net") / interface_name;
}

bool is_address(const sockaddr* address) {
    if (address == nullptr)
        return false;
    if (address->sa_family != AF_INET6)
        return address->sa_family == AF_INET;
    const auto* six = reinterpret_cast<const sockaddr_in6*>(address);
    return !IN6_IS_ADDR_LINKLOCAL(&six->sin6_addr); // that one each interface has
}

// Bridges of containers and the like lead to nobody.
bool is_real(const std::string& interface_name) {
    std::error_code error;
    return fs::exists(place_of(interface_name) / "device", error);
}

} // namespace

std::string radio_of(const std::string& interface_name) {
    std::error_code error;
    return fs::read_symlink(place_of(interface_name) / "phy80211", error).filename();
}

Block block_of(const std::string& interface_name) {
    Block block = Block::none;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(place_of(interface_name) / "phy80211", error)) {
        if (fieldrelaybox::read_file(entry.path() / "hard").starts_with('1'))
            return Block::hard;
        if (fieldrelaybox::read_file(entry.path() / "soft").starts_with('1'))
            block = Block::soft;
    }
    return block;
}

bool has_interface(const std::string& interface_name) {
    std::error_code error;
    return fs::exists(place_of(interface_name), error);
}

std::vector<std::string> interfaces_that_answer() {
    std::vector<std::string> names;
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0)
        return names;
    const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> owner(list, freeifaddrs);
    for (const ifaddrs* each = list; each != nullptr; each = each->ifa_next) {
        const bool runs = (each->ifa_flags & IFF_RUNNING) != 0;
        if (runs && is_address(each->ifa_addr) && is_real(each->ifa_name) &&
            std::ranges::find(names, each->ifa_name) == names.end())
            names.emplace_back(each->ifa_name);
    }
    return names;
}

bool has_joined(const char* uuid) {
    const std::string command =
        std::string("nmcli -g GENERAL.STATE connection show uuid ") + uuid + " 2>/dev/null";
    bool joined = false;
    fieldrelaybox::query_shell_command(
        command.c_str(), 100, question_ms,
        [&](std::string_view line) { joined |= line == "activated\n"; });
    return joined;
}

bool runs_access_point() {
    return fieldrelaybox::run_shell_command(
               "systemctl is-active --quiet fieldrelaybox-access-point.service", question_ms) == 0;
}

bool has_guests() {
    return !fieldrelaybox::read_file(leases_file).empty();
}

} // namespace network
