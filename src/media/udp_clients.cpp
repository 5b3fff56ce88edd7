#include "media/udp_clients.h"

#include "core/log.h"
#include "core/sockets.h"
#include "core/statistics.h"

#include <algorithm>
#include <arpa/inet.h>
#include <atomic>
#include <charconv>
#include <mutex>
#include <optional>

namespace fieldrelaybox {

namespace {

constexpr unsigned highest_port = 65534; // audio goes to the port above

std::mutex list_mutex;
UdpClients current_clients{};
std::atomic<std::uint32_t> list_version{1};

std::optional<std::uint16_t> parse_port(std::string_view text) {
    unsigned port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    const bool whole = error == std::errc{} && end == text.data() + text.size();
    if (!whole || port < 1 || port > highest_port)
        return std::nullopt;
    return static_cast<std::uint16_t>(port);
}

std::optional<UdpClients::Entry> parse_item(std::string_view item) {
    const std::size_t colon = item.find(':');
    in_addr address{};
    if (colon == std::string_view::npos || !parse_ipv4(item.substr(0, colon), address))
        return std::nullopt;
    const std::optional<std::uint16_t> port = parse_port(item.substr(colon + 1));
    if (!port)
        return std::nullopt;
    UdpClients::Entry entry{};
    entry.video = ipv4_address(ntohl(address.s_addr), *port);
    entry.audio = ipv4_address(ntohl(address.s_addr), static_cast<std::uint16_t>(*port + 1));
    return entry;
}

void add_item(std::string_view item, UdpClients& clients) {
    const std::optional<UdpClients::Entry> entry = parse_item(item);
    if (!entry)
        log_warning("UDP client \"%.*s\" skipped: not address:port", static_cast<int>(item.size()),
                    item.data());
    else if (clients.count < clients.entries.size())
        clients.entries[clients.count++] = *entry;
    else
        log_warning("UDP client \"%.*s\" skipped: %zu clients are the most",
                    static_cast<int>(item.size()), item.data(), clients.entries.size());
}

// list_mutex is held.
void place_counts(const UdpClients& clients) {
    for (std::size_t i = 0; i < clients.entries.size(); ++i) {
        PeerCount& place = statistics().udp_clients[i];
        if (i < clients.count)
            take_place(place, clients.entries[i].video);
        else
            leave_place(place);
    }
}

} // namespace

void parse_udp_clients(std::string_view list) {
    UdpClients clients{};
    while (!list.empty()) {
        const std::string_view item = list.substr(0, list.find(','));
        add_item(item, clients);
        list.remove_prefix(std::min(list.size(), item.size() + 1));
    }
    const std::lock_guard lock(list_mutex);
    place_counts(clients);
    clients.version = list_version.load(std::memory_order_relaxed) + 1;
    current_clients = clients;
    list_version.store(clients.version, std::memory_order_release);
}

const UdpClients& udp_clients() {
    thread_local UdpClients clients{};
    if (clients.version != list_version.load(std::memory_order_acquire)) {
        const std::lock_guard lock(list_mutex);
        clients = current_clients;
        clients.version = list_version.load(std::memory_order_relaxed);
    }
    return clients;
}

} // namespace fieldrelaybox
