// Carries out a plan.
#pragma once

#include "network/plan.h"

#include <string>
#include <vector>

namespace network {

// Stops at the first step that fails, takes back the files of networks that are not finished, and
// returns why, for the log; empty when all went well.
std::string carry_out(const std::vector<Step>& steps);

} // namespace network
