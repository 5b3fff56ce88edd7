#include "panel/times.h"

#include <chrono>

namespace panel {

std::int64_t now_us() {
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

} // namespace panel
