#include "panel/connections.h"

#include <algorithm>
#include <array>
#include <sys/socket.h>

namespace panel {
namespace {

struct PhaseLimit {
    Phase phase;
    std::int64_t time_us;
};

constexpr std::array<PhaseLimit, 5> phase_limits{{
    {Phase::waiting, request_time_us},
    {Phase::resting, rest_time_us},
    {Phase::checking, answer_time_us},
    {Phase::served, answer_time_us},
    {Phase::ending, request_time_us},
}};

bool is_idle(const Connection& connection) {
    return connection.phase == Phase::waiting || connection.phase == Phase::resting;
}

// Those that share a bound.
struct ConnectionGroup {
    Address (*key_of)(const Address& address); // null: all belong to it
    std::size_t most;
    std::size_t most_turned_away;
};

constexpr Address whole_address(const Address& address) {
    return address;
}

constexpr std::array<ConnectionGroup, 3> connection_groups{{
    {whole_address, most_of_one_address, most_turned_away_of_one_address},
    {network_of, most_of_one_network, most_turned_away},
    {nullptr, most_connections, most_turned_away},
}};

bool is_of(const ConnectionGroup& group, const Connection& connection, const Address& address) {
    return group.key_of == nullptr || group.key_of(connection.address) == group.key_of(address);
}

std::size_t count_of(const Connections& connections, const ConnectionGroup& group,
                     const Address& address, bool turned_away) {
    return static_cast<std::size_t>(
        std::ranges::count_if(connections.list, [&](const Connection& each) {
            return each.phase != Phase::ending && each.is_turned_away == turned_away &&
                   is_of(group, each, address);
        }));
}

// The one that has been idle the longest.
Connection* idlest(Connections& connections, const ConnectionGroup& group, const Address& address) {
    Connection* found = nullptr;
    for (Connection& each : connections.list)
        if (is_idle(each) && !each.is_turned_away && is_of(group, each, address) &&
            (found == nullptr || each.since_us < found->since_us))
            found = &each;
    return found;
}

bool make_room_in(Connections& connections, const ConnectionGroup& group, const Address& address) {
    if (count_of(connections, group, address, false) < group.most)
        return true;
    Connection* const leaving = idlest(connections, group, address);
    if (leaving != nullptr)
        shut_down(*leaving);
    return leaving != nullptr;
}

} // namespace

void enter_phase(Connection& connection, Phase phase, std::int64_t now_us) {
    if (connection.phase == Phase::ending)
        return;
    connection.phase = phase;
    connection.since_us = now_us;
}

void shut_down(Connection& connection) {
    connection.phase = Phase::ending;
    shutdown(connection.socket, SHUT_RDWR);
}

Admission make_room(Connections& connections, const Address& address) {
    if (std::ranges::all_of(connection_groups, [&](const ConnectionGroup& group) {
            return make_room_in(connections, group, address);
        }))
        return Admission::served;
    const bool may_be_told =
        std::ranges::all_of(connection_groups, [&](const ConnectionGroup& group) {
            return count_of(connections, group, address, true) < group.most_turned_away;
        });
    return may_be_told ? Admission::turned_away : Admission::refused;
}

void end_overdue(Connections& connections, std::int64_t now_us) {
    for (Connection& each : connections.list)
        for (const PhaseLimit& limit : phase_limits)
            if (each.phase == limit.phase && now_us - each.since_us > limit.time_us) {
                shut_down(each);
                break;
            }
}

Connection& add_connection(Connections& connections, int socket, const Address& address,
                           std::int64_t now_us) {
    Connection& fresh = connections.list.emplace_back();
    fresh.id = ++connections.last_id;
    fresh.socket = socket;
    fresh.address = address;
    fresh.since_us = now_us;
    fresh.messages = full_allowance(message_rate, now_us);
    return fresh;
}

void remove_connection(Connections& connections, std::uint64_t id) {
    connections.list.remove_if([id](const Connection& each) { return each.id == id; });
}

Connection* find_connection(Connections& connections, std::uint64_t id) {
    const auto found = std::ranges::find_if(connections.list,
                                            [id](const Connection& each) { return each.id == id; });
    return found == connections.list.end() ? nullptr : &*found;
}

Connection* find_browser(Connections& connections, BrowserId browser) {
    const auto found = std::ranges::find_if(
        connections.list, [browser](const Connection& each) { return each.browser == browser; });
    return found == connections.list.end() ? nullptr : &*found;
}

std::size_t count_open(const Connections& connections) {
    return static_cast<std::size_t>(std::ranges::count_if(
        connections.list, [](const Connection& each) { return each.phase != Phase::ending; }));
}

} // namespace panel
