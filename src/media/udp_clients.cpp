#include "media/udp_clients.h"

#include "config/own_inputs.h"
#include "core/log.h"
#include "core/sockets.h"
#include "core/statistics.h"
#include "core/text.h"

#include <atomic>
#include <mutex>
#include <utility>
#include <vector>

namespace fieldrelaybox {

namespace {

enum class Verdict : std::uint8_t { unjudged, taken, own_input, too_many };

// An item of the setting and what the last look at the box's addresses said about it.
struct Candidate {
    UdpClients::Entry entry;
    Verdict verdict = Verdict::unjudged;
};

std::mutex list_mutex; // guards all here
std::vector<Candidate> candidates;
UdpClients current_clients{};
std::atomic<std::uint32_t> list_version{1};

UdpClients::Entry entry_of(const sockaddr_in& video) {
    UdpClients::Entry entry{.video = video, .audio = video};
    entry.audio.sin_port = htons(static_cast<std::uint16_t>(ntohs(video.sin_port) + 1));
    return entry;
}

void add_candidate(std::string_view item) {
    if (const auto video = parse_endpoint(item, highest_udp_client_port))
        candidates.push_back({.entry = entry_of(*video)});
    else
        log_warning("UDP client \"%.*s\" skipped: not address:port", static_cast<int>(item.size()),
                    item.data());
}

// One that is taken is told of only when it was not before.
void tell_verdict(const UdpClients::Entry& entry, Verdict before, Verdict now) {
    const Endpoint endpoint = endpoint_of(entry.video);
    const char* const address = endpoint.address_text.data();
    if (now == Verdict::own_input)
        log_warning("UDP client \"%s:%d\" skipped: the box itself receives there", address,
                    endpoint.port);
    else if (now == Verdict::too_many)
        log_warning("UDP client \"%s:%d\" skipped: %zu clients are the most", address,
                    endpoint.port, udp_client_capacity);
    else if (before != Verdict::unjudged)
        log_line("UDP client \"%s:%d\" is back", address, endpoint.port);
}

Verdict judge(const UdpClients::Entry& entry, const UdpClients& clients) {
    if (is_own_input(entry.video, udp_client_ports))
        return Verdict::own_input;
    return clients.count < clients.entries.size() ? Verdict::taken : Verdict::too_many;
}

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

// Replaces the list when a verdict is another than before, or at least when told to.
void judge_all(bool replace) {
    UdpClients clients{};
    for (Candidate& candidate : candidates) {
        const Verdict now = judge(candidate.entry, clients);
        if (now == Verdict::taken)
            clients.entries[clients.count++] = candidate.entry;
        const Verdict before = std::exchange(candidate.verdict, now);
        if (now == before)
            continue;
        tell_verdict(candidate.entry, before, now);
        replace = true;
    }
    if (replace)
        replace_list(clients);
}

} // namespace

void parse_udp_clients(std::string_view list) {
    const std::lock_guard lock(list_mutex);
    candidates.clear();
    while (!list.empty())
        add_candidate(take_item(list, ','));
    judge_all(true);
}

void check_udp_clients() {
    const std::lock_guard lock(list_mutex);
    judge_all(false);
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
