// What the figures of a scenario have to meet.
#pragma once

#include "rounds.h"

namespace bench {

// At one pace. The daemon with and without segments cannot run at once, so that each has a bare
// loop beside it.
struct Comparison {
    Figures daemon{};
    Figures bare{};
    Figures segments{}; // of the bare loop with segments; empty with UDP clients
    Figures plain{};    // the daemon with segments switched off
    Figures plain_bare{};
};

// Prints the figures and whether they meet the limits. Returns whether they do.
bool judge(const Scenario& scenario, const Pace& pace, const Comparison& of);

} // namespace bench
