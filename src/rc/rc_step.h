// One step of the RC loop, which sees the world only through its arguments.
#pragma once

#include "rc/rc_actions.h"
#include "rc/rc_state.h"

#include <vector>

namespace fieldrelaybox {

// What is to be done now, in order, appended to commands.
void rc_step(const RcInputs& inputs, RcState& state, std::vector<RcCommand>& commands);

} // namespace fieldrelaybox
