#include "apps/app_clients.h"

#include "apps/server_link.h"
#include "core/clock.h"
#include "core/log.h"
#include "core/shared_access.h"
#include "core/statistics.h"
#include "core/status_block.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <vector>

namespace fieldrelaybox {

namespace {

struct AppClient {
    Endpoint endpoint; // empty address text: free entry
    std::int64_t last_seen;
    bool data_only;
};

std::mutex table_mutex;
std::array<AppClient, app_client_capacity> table{};
std::atomic<std::uint32_t> table_version{1}; // of what app_client_targets would return

bool is_free(const AppClient& client) {
    return client.endpoint.address_text[0] == '\0';
}

bool is_from(const AppClient& client, const Endpoint& sender) {
    return !is_free(client) && is_same_address(client.endpoint.address, sender.address);
}

// table_mutex is held.
AppClient* find_client(const Endpoint& sender) {
    auto* found = std::find_if(table.begin(), table.end(),
                               [&](const AppClient& client) { return is_from(client, sender); });
    return found == table.end() ? nullptr : found;
}

// The counts of an entry of the table, which stand at the same place.
PeerCount& count_of(const AppClient& client) {
    return statistics().apps[&client - table.data()];
}

// table_mutex is held.
void free_entry(AppClient& client) {
    client = {};
    leave_place(count_of(client));
}

// table_mutex is held.
void table_changed() {
    table_version.fetch_add(1, std::memory_order_release);
}

// Refreshes the sender's entry, or makes one in the lowest free place.
int put_client(const Endpoint& sender, bool data_only, std::int64_t now) {
    const std::lock_guard lock(table_mutex);
    AppClient* known = find_client(sender);
    AppClient* client =
        known != nullptr ? known : std::find_if(table.begin(), table.end(), is_free);
    if (client == table.end())
        return 0;
    if (known == nullptr || known->data_only != data_only)
        table_changed();
    if (known == nullptr)
        take_place(count_of(*client), sender.address);
    *client = {sender, now, data_only};
    return known == nullptr ? 1 : 0;
}

// Takes the silent apps out of the table.
std::vector<Endpoint> drop_silent_clients(std::int64_t now) {
    std::vector<Endpoint> lost;
    const std::lock_guard lock(table_mutex);
    for (AppClient& client : table) {
        if (is_free(client) || now - client.last_seen <= app_client_time_limit_ms)
            continue;
        lost.push_back(client.endpoint);
        free_entry(client);
        table_changed();
    }
    return lost;
}

std::size_t count_clients() {
    const std::lock_guard lock(table_mutex);
    return table.size() -
           static_cast<std::size_t>(std::count_if(table.begin(), table.end(), is_free));
}

void renew_targets(AppClientTargets& targets) {
    {
        const std::lock_guard lock(table_mutex);
        targets.version = table_version.load(std::memory_order_acquire);
        targets.count = 0;
        for (const AppClient& client : table) {
            if (is_free(client))
                continue;
            targets.entries[targets.count++] = {client.endpoint.address,
                                                static_cast<std::uint8_t>(&client - table.data()),
                                                client.data_only, false};
        }
    }
    for (std::size_t i = 0; i < targets.count; ++i)
        targets.entries[i].is_server = is_server_endpoint(targets.entries[i].address);
}

} // namespace

int add_app_client(const Endpoint& sender, bool data_only, std::int64_t now) {
    const int added = put_client(sender, data_only, now);
    if (added == 1)
        log_line("client connected from %s:%d %s", sender.address_text.data(), sender.port,
                 data_only ? "(only data)" : " ");
    return added;
}

int remove_app_client(const Endpoint& sender) {
    const std::lock_guard lock(table_mutex);
    AppClient* client = find_client(sender);
    if (client == nullptr)
        return 0;
    free_entry(*client);
    table_changed();
    return 1;
}

void sweep_app_clients(std::int64_t now) {
    for (const Endpoint& client : drop_silent_clients(now))
        log_line("Client %s:%d lost", client.address_text.data(), client.port);
    store(status_block().app_client_count, static_cast<std::uint8_t>(count_clients()));
}

void clear_app_clients() {
    const std::lock_guard lock(table_mutex);
    std::for_each(table.begin(), table.end(), free_entry);
    table_changed();
}

const AppClientTargets& app_client_targets() {
    thread_local AppClientTargets targets{};
    if (targets.version != table_version.load(std::memory_order_acquire))
        renew_targets(targets);
    return targets;
}

bool is_registered_app(std::uint64_t key) {
    const AppClientTargets& targets = app_client_targets();
    return std::any_of(targets.entries.begin(), targets.entries.begin() + targets.count,
                       [key](const AppClientTarget& app) { return app_key(app.address) == key; });
}

void count_from_app(const sockaddr_in& sender, std::size_t bytes) {
    const AppClientTargets& targets = app_client_targets();
    for (std::size_t i = 0; i < targets.count; ++i) {
        const AppClientTarget& app = targets.entries[i];
        if (is_same_address(app.address, sender))
            count_received(statistics().apps[app.place].received, bytes);
    }
}

void app_client_server_changed() {
    table_changed();
}

} // namespace fieldrelaybox
