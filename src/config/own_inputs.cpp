#include "config/own_inputs.h"

#include <algorithm>
#include <array>
#include <ifaddrs.h>
#include <memory>
#include <net/if.h>

namespace fieldrelaybox {

namespace {

constexpr std::array own_ports{video_source_port, audio_source_port, transcoded_video_port,
                               control_port, camera_port};

bool is_at(const sockaddr* place, in_addr address) {
    return place != nullptr && place->sa_family == AF_INET &&
           reinterpret_cast<const sockaddr_in*>(place)->sin_addr.s_addr == address.s_addr;
}

bool belongs_to(const ifaddrs& interface, in_addr address) {
    return is_at(interface.ifa_addr, address) ||
           ((interface.ifa_flags & IFF_BROADCAST) != 0 && is_at(interface.ifa_broadaddr, address));
}

bool is_own_address(in_addr address) {
    const std::uint32_t number = ntohl(address.s_addr);
    if (number == INADDR_ANY || number == INADDR_BROADCAST || number >> 24 == IN_LOOPBACKNET)
        return true;
    ifaddrs* first = nullptr;
    if (getifaddrs(&first) != 0)
        return false;
    const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> list(first, freeifaddrs);
    for (const ifaddrs* it = first; it != nullptr; it = it->ifa_next) {
        if (belongs_to(*it, address))
            return true;
    }
    return false;
}

} // namespace

bool is_own_input(const sockaddr_in& receiver, int ports) {
    const int first = ntohs(receiver.sin_port);
    return std::ranges::any_of(own_ports,
                               [=](int own) { return own >= first && own < first + ports; }) &&
           is_own_address(receiver.sin_addr);
}

} // namespace fieldrelaybox
