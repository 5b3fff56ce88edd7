// The one loop of rcin: whatever comes from the receivers is in the status block at once.
#pragma once

#include <string>

namespace rcin {

// Runs until a signal ends it. devices_path: rcin.conf. Returns the exit status.
int run_loop(const std::string& devices_path);

} // namespace rcin
