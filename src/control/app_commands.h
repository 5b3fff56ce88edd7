// Box-level commands of the apps: settings, Wi-Fi, power, report.
#pragma once

#include <cstddef>

namespace fieldrelaybox {

// Carries out one app command, a JSON text of length characters with a NUL behind it. Texts that
// are not JSON and unknown words do nothing. Replies go to every registered app.
void dispatch_app_command(const char* text, std::size_t length);

} // namespace fieldrelaybox
