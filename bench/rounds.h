// Relays in alternation, and what came out of it.
#pragma once

#include "measured_relay.h"
#include "scenario.h"
#include "stream.h"

#include <span>
#include <vector>

namespace bench {

// Of one relay over all rounds.
struct Figures {
    std::vector<double> cpu_us_per_copy{}; // one per round
    // One per datagram that came through, to its first and its last copy.
    std::vector<double> first_us{};
    std::vector<double> last_us{};
    std::vector<double> round_p99_us{}; // of the first copies in each round
    std::uint64_t expected = 0;
    std::uint64_t right = 0;
    std::uint64_t damaged = 0;
    std::uint64_t misplaced = 0;
};

// A relay and where its figures go.
struct Contender {
    MeasuredRelay relay;
    Figures* figures;
};

// Sends until a datagram has come through the relay to every open destination.
void warm_up(const MeasuredRelay& relay, const Scenario& scenario);

// One segment through the relay.
void measure(const Contender& contender, const Scenario& scenario, const Pace& pace);

// So many rounds of a segment through each, forwards and backwards in turns.
void take_turns(std::span<const Contender> contenders, const Scenario& scenario, const Pace& pace,
                unsigned rounds);

// The value below which this part (0..1) of the values lies; 0 when there are none.
double quantile(std::vector<double> values, double part);

double median(const std::vector<double>& values);

} // namespace bench
