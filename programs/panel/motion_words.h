// The commands that move the gimbal or the zoom: they must not go round the holds.
#pragma once

#include "panel/holds.h"

#include <string_view>

namespace panel {

struct MotionWord {
    std::string_view word;  // "cmd"
    std::string_view param; // empty: any
    Held moves;
    bool lasts = false; // until a stop comes: such a motion needs a hold
};

// Null when the command moves nothing.
const MotionWord* find_motion_word(std::string_view word, std::string_view param);

} // namespace panel
