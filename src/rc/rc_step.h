// One step of the RC loop, which sees the world only through its arguments.
#pragma once

#include "rc/rc_actions.h"
#include "rc/rc_state.h"

#include <vector>

namespace fieldrelaybox {

// What is to be done now, in order, appended to commands.
void rc_step(const RcInputs& inputs, RcState& state, std::vector<RcCommand>& commands);

// Whether the next steps have nothing to do while the inputs stay like these: RC is off, nothing
// that it began is left to end, and no app moves anything. What only a camera can end does not
// count while it is away.
bool is_at_rest(const RcInputs& inputs, const RcState& state);

} // namespace fieldrelaybox
