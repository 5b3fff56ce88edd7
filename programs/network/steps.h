// Carries out a plan.
#pragma once

#include "network/plan.h"

#include <string>
#include <string_view>
#include <vector>

namespace network {

struct Failure {
    std::string_view network; // empty: a step that is for all of them
    std::string words;        // for the log
};

// A network whose step fails is left, and its files are taken back, so that it is found to be
// wanting; the others go on.
std::vector<Failure> carry_out(const std::vector<Step>& steps);

bool has_failed(const std::vector<Failure>& failures, std::string_view network);

} // namespace network
