#include "media/udp_clients.h"

#include "config/own_inputs.h"
#include "core/log.h"
#include "core/sockets.h"
#include "core/statistics.h"
#include "core/text.h"

#include <atomic>
#include <mutex>
#include <optional>

namespace fieldrelaybox {

namespace {

std::mutex list_mutex;
UdpClients current_clients{};
std::atomic<std::uint32_t> list_version{1};

UdpClients::Entry entry_of(const sockaddr_in& video) {
    UdpClients::Entry entry{.video = video, .audio = video};
    entry.audio.sin_port = htons(static_cast<std::uint16_t>(ntohs(video.sin_port) + 1));
    return entry;
}

bool comes_back(const UdpClients::Entry& entry) {
    return is_own_input(entry.video) || is_own_input(entry.audio);
}

void tell_own_input(const UdpClients::Entry& entry) {
    const Endpoint endpoint = endpoint_of(entry.video);
    log_warning("UDP client \"%s:%d\" skipped: the box itself receives there",
                endpoint.address_text.data(), endpoint.port);
}

void add_item(std::string_view item, UdpClients& clients) {
    const std::optional<sockaddr_in> video = parse_endpoint(item, highest_udp_client_port);
    const auto entry = video ? entry_of(*video) : UdpClients::Entry{};
    if (!video)
        log_warning("UDP client \"%.*s\" skipped: not address:port", static_cast<int>(item.size()),
                    item.data());
    else if (comes_back(entry))
        tell_own_input(entry);
    else if (clients.count < clients.entries.size())
        clients.entries[clients.count++] = entry;
    else
        log_warning("UDP client \"%.*s\" skipped: %zu clients are the most",
                    static_cast<int>(item.size()), item.data(), clients.entries.size());
}

// Both: list_mutex is held.
void place_counts(const UdpClients& clients) {
    for (std::size_t i = 0; i < clients.entries.size(); ++i) {
        PeerCount& place = statistics().udp_clients[i];
        if (i < clients.count)
            take_place(place, clients.entries[i].video);
        else
            leave_place(place);
    }
}

void replace_list(UdpClients clients) {
    place_counts(clients);
    clients.version = list_version.load(std::memory_order_relaxed) + 1;
    current_clients = clients;
    list_version.store(clients.version, std::memory_order_release);
}

} // namespace

void parse_udp_clients(std::string_view list) {
    UdpClients clients{};
    while (!list.empty())
        add_item(take_item(list, ','), clients);
    const std::lock_guard lock(list_mutex);
    replace_list(clients);
}

void check_udp_clients() {
    const std::lock_guard lock(list_mutex);
    UdpClients kept{};
    for (std::size_t i = 0; i < current_clients.count; ++i) {
        if (comes_back(current_clients.entries[i]))
            tell_own_input(current_clients.entries[i]);
        else
            kept.entries[kept.count++] = current_clients.entries[i];
    }
    if (kept.count != current_clients.count)
        replace_list(kept);
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
