// A picture from elsewhere, and its sound, to the daemon in place of the camera's.
#include "stream/kinds.h"

namespace stream {

Plan plan_source(const ConfigRecord& /*settings*/,
                 const Surroundings& surroundings) {
    return {.command = std::nullopt, .fault = surroundings.source_config + " names no source"};
}

} // namespace stream
