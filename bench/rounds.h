// Daemon and bare loop in alternation, and what came out of it.
#pragma once

#include "measured_relay.h"
#include "scenario.h"
#include "stream.h"

#include <vector>

namespace bench {

// Of one relay over all rounds.
struct Figures {
    std::vector<double> cpu_us_per_copy{}; // one per round
    std::vector<double> latency_us{};      // one per copy
    std::uint64_t expected = 0;
    std::uint64_t right = 0;
    std::uint64_t damaged = 0;
    std::uint64_t misplaced = 0;
};

struct Comparison {
    Figures daemon;
    Figures bare;
};

// Sends until a datagram has come through the relay to every open destination.
void warm_up(const MeasuredRelay& relay, const Scenario& scenario);

// The relays in alternation.
Comparison compare(const MeasuredRelay& daemon, const MeasuredRelay& bare, const Scenario& scenario,
                   const Pace& pace, unsigned rounds);

// One segment through each.
Comparison sustain(const MeasuredRelay& daemon, const MeasuredRelay& bare, const Scenario& scenario,
                   const Pace& pace);

// The value below which this part (0..1) of the values lies; 0 when there are none.
double quantile(std::vector<double> values, double part);

double median(const std::vector<double>& values);

} // namespace bench
