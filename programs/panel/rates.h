// How often something may be done. It is counted by address, so that a stranger's haste costs the
// stranger alone.
#pragma once

#include "panel/listening.h"

#include <cstdint>
#include <map>

namespace panel {

struct Rate {
    double most;     // at once
    double a_second; // on average
};

struct Allowance {
    double left = 0;
    std::int64_t at_us = 0;
};
struct Allowances {
    std::map<Address, Allowance> by_address; // bounded: who waited longest has all again
};

// Full from the beginning.
constexpr Allowance full_allowance(const Rate& rate, std::int64_t now_us) {
    return {rate.most, now_us};
}

// Whether it may be done once more now; counts it then.
bool take_one(Allowance& allowance, const Rate& rate, std::int64_t now_us);

// Whether the address may do it once more now; counts it then.
bool count_within(Allowances& allowances, const Rate& rate, const Address& address,
                  std::int64_t now_us);

} // namespace panel
