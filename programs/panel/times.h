// Times of the panel: microseconds of a clock that only goes forward.
#pragma once

#include "core/clock.h"

#include <cstdint>

namespace panel {

using fieldrelaybox::never_us;

inline constexpr std::int64_t second_us = 1'000'000;

std::int64_t now_us();

} // namespace panel
