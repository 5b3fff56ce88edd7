#include "core/log_senders.h"

#include "core/clock.h"

#include <algorithm>
#include <array>
#include <mutex>
#include <utility>

namespace fieldrelaybox {

namespace {

// So many lines at once, and for ever one in each interval: a slider can come every 30 ms.
struct Allowance {
    std::int64_t at_once;
    std::int64_t interval_ms;
};

constexpr std::array allowances{Allowance{50, 200}, Allowance{1000, 20},
                                Allowance{1000, 20}}; // in the order of LogKind

constexpr std::size_t sender_capacity = 16;

// Whoever has used nothing of the allowance leaves the place to others.
struct LogSender {
    std::uint32_t address;
    std::array<std::int64_t, allowances.size()>
        paid_until; // timer clock at which an allowance is whole again
    std::uint32_t left_out;
};

std::mutex senders_mutex; // guards senders
// The last place is for all who find no place of their own.
std::array<LogSender, sender_capacity + 1> senders{};

thread_local std::uint32_t sender_of_this_thread = 0;
thread_local std::size_t kind_in_this_thread = 0;

// senders_mutex is held.
LogSender& find_place(std::uint32_t address, std::int64_t now) {
    auto* const others = senders.end() - 1;
    auto* place = std::find_if(senders.begin(), others,
                               [&](const LogSender& sender) { return sender.address == address; });
    if (place == others)
        place = std::find_if(senders.begin(), others, [&](const LogSender& sender) {
            return std::ranges::max(sender.paid_until) <= now && sender.left_out == 0;
        });
    place->address = place == others ? 0 : address;
    return *place;
}

} // namespace

void set_log_sender(std::uint32_t address) {
    sender_of_this_thread = address;
    set_log_kind(LogKind::presence);
}

void set_log_kind(LogKind kind) {
    kind_in_this_thread = static_cast<std::size_t>(kind);
}

std::function<void()> command_for_log_sender(std::function<void()> body) {
    return [sender = sender_of_this_thread, body = std::move(body)] {
        set_log_sender(sender);
        set_log_kind(LogKind::command);
        body();
        set_log_sender(0);
    };
}

bool take_log_allowance() {
    if (sender_of_this_thread == 0)
        return true;
    const std::int64_t now = timer_clock();
    const std::lock_guard lock(senders_mutex);
    LogSender& sender = find_place(sender_of_this_thread, now);
    std::int64_t& paid_until = sender.paid_until[kind_in_this_thread];
    const Allowance& allowance = allowances[kind_in_this_thread];
    const std::int64_t paid = std::max(paid_until, now) + allowance.interval_ms;
    if (paid - now > allowance.at_once * allowance.interval_ms) {
        ++sender.left_out;
        return false;
    }
    paid_until = paid;
    return true;
}

std::vector<LinesLeftOut> take_lines_left_out() {
    std::vector<LinesLeftOut> left_out;
    const std::lock_guard lock(senders_mutex);
    for (LogSender& sender : senders) {
        if (sender.left_out > 0)
            left_out.push_back({sender.address, std::exchange(sender.left_out, 0)});
    }
    return left_out;
}

} // namespace fieldrelaybox
