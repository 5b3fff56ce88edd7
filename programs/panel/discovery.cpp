#include "panel/discovery.h"

#include "core/sockets.h"

#include <algorithm>
#include <ifaddrs.h>
#include <memory>
#include <net/if.h>

namespace panel {
namespace {

constexpr std::size_t most_addresses = 32;

void add(std::vector<in_addr_t>& addresses, in_addr_t address) {
    if (addresses.size() < most_addresses &&
        std::ranges::find(addresses, address) == addresses.end())
        addresses.push_back(address);
}

bool is_ipv4(const sockaddr* address) {
    return address != nullptr && address->sa_family == AF_INET;
}

in_addr_t number_of(const sockaddr* address) {
    return reinterpret_cast<const sockaddr_in*>(address)->sin_addr.s_addr;
}

void add_interface(Surroundings& surroundings, const ifaddrs& interface) {
    if (!is_ipv4(interface.ifa_addr))
        return;
    add(surroundings.own, number_of(interface.ifa_addr));
    constexpr unsigned wanted = IFF_UP | IFF_BROADCAST;
    if ((interface.ifa_flags & wanted) == wanted && is_ipv4(interface.ifa_broadaddr))
        add(surroundings.asked, number_of(interface.ifa_broadaddr));
}

} // namespace

Surroundings read_surroundings() {
    Surroundings surroundings{.asked = {htonl(INADDR_LOOPBACK), htonl(INADDR_BROADCAST)},
                              .own = {}};
    ifaddrs* first = nullptr;
    if (getifaddrs(&first) != 0)
        return surroundings;
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(first, freeifaddrs);
    for (const ifaddrs* interface = first; interface != nullptr; interface = interface->ifa_next)
        add_interface(surroundings, *interface);
    return surroundings;
}

sockaddr_in known_address(const Surroundings& surroundings, const sockaddr_in& address) {
    sockaddr_in result = address;
    if (std::ranges::find(surroundings.own, address.sin_addr.s_addr) != surroundings.own.end())
        result.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return result;
}

bool note_answer(std::vector<FoundBox>& found, const sockaddr_in& box, std::int64_t now_us) {
    for (FoundBox& known : found)
        if (fieldrelaybox::is_same_address(known.address, box)) {
            known.answered_us = now_us;
            return false;
        }
    if (found.size() >= most_found)
        found.erase(std::ranges::min_element(found, {}, &FoundBox::answered_us));
    found.push_back({box, now_us});
    return true;
}

bool forget_silent(std::vector<FoundBox>& found, std::int64_t now_us) {
    return std::erase_if(found, [now_us](const FoundBox& box) {
               return now_us - box.answered_us > found_time_us;
           }) > 0;
}

} // namespace panel
