// The IPv4 addresses of the box as the system reports them.
#include "control/wifi.h"

#include "core/sockets.h"

#include <cstring>
#include <ifaddrs.h>
#include <memory>
#include <sys/socket.h>

namespace fieldrelaybox {

namespace {

// Calls visit with the name and the dotted address of each IPv4 entry until it returns true.
template<class Visit> void visit_addresses(const Visit& visit) {
    ifaddrs* entries = nullptr;
    if (getifaddrs(&entries) != 0)
        return;
    const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> release(entries, freeifaddrs);
    for (const ifaddrs* entry = entries; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET)
            continue;
        sockaddr_in address{};
        std::memcpy(&address, entry->ifa_addr, sizeof address);
        if (visit(std::string_view(entry->ifa_name), endpoint_of(address).address_text.data()))
            return;
    }
}

} // namespace

std::optional<std::string> interface_address(const std::string& interface_name) {
    std::optional<std::string> found;
    visit_addresses([&](std::string_view name, const char* address) {
        if (name == interface_name)
            found = address;
        return found.has_value();
    });
    return found;
}

std::string interface_list(std::size_t longest_list) {
    std::string list;
    visit_addresses([&](std::string_view name, const char* address) {
        if (name == "lo")
            return false;
        const std::string object = std::string(list.empty() ? "" : ",") + R"({"name":")" +
                                   std::string(name) + R"(","addr":")" + address + R"("})";
        if (list.size() + object.size() <= longest_list)
            list += object;
        return false;
    });
    return list;
}

} // namespace fieldrelaybox
