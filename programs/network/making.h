// Makes the networks what they are to be, and tells of it. Entered by judgement and enforcement.
#pragma once

#include "network/plan.h"
#include "network/steps.h"
#include "network/wishes.h"

#include <string>
#include <vector>

namespace network {

// What is to be done for them; nothing when the box has them.
std::vector<Step> steps_to(const Wishes& wishes);

// Returns what failed, which has been told; nothing when the box has these networks now.
std::vector<Failure> put_in_force(const Wishes& wishes);

} // namespace network
