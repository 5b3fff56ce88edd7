#include "panel/rates.h"

#include <algorithm>
#include <cstddef>

namespace panel {
namespace {

constexpr std::size_t most_counted_addresses = 1024;

double left_now(const Allowance& allowance, const Rate& rate, std::int64_t now_us) {
    const auto passed_us = static_cast<double>(now_us - allowance.at_us);
    return std::min(rate.most, allowance.left + passed_us * rate.a_second / 1e6);
}

// Those go that have all of it again, or else the one that was counted last the longest ago.
void make_room_to_count(Allowances& allowances, const Rate& rate, std::int64_t now_us) {
    auto& rows = allowances.by_address;
    if (rows.size() < most_counted_addresses)
        return;
    std::erase_if(rows,
                  [&](const auto& row) { return left_now(row.second, rate, now_us) >= rate.most; });
    if (rows.size() >= most_counted_addresses)
        rows.erase(std::ranges::min_element(
            rows, [](const auto& a, const auto& b) { return a.second.at_us < b.second.at_us; }));
}

} // namespace

bool take_one(Allowance& allowance, const Rate& rate, std::int64_t now_us) {
    allowance = {left_now(allowance, rate, now_us), now_us};
    if (allowance.left < 1)
        return false;
    allowance.left -= 1;
    return true;
}

bool count_within(Allowances& allowances, const Rate& rate, const Address& address,
                  std::int64_t now_us) {
    make_room_to_count(allowances, rate, now_us);
    const auto row = allowances.by_address.try_emplace(address, full_allowance(rate, now_us)).first;
    return take_one(row->second, rate, now_us);
}

} // namespace panel
