// What the RC loop decided, carried out with the command builders.
#pragma once

#include "rc/rc_actions.h"

#include <vector>

namespace fieldrelaybox {

// Carries out commands. Returns at once: what takes long runs in a thread of its own, in order.
void perform_rc_commands(const std::vector<RcCommand>& commands);

} // namespace fieldrelaybox
