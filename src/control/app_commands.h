// Box-level commands of the apps: settings, Wi-Fi, power, report.
#pragma once

#include <cstddef>

namespace fieldrelaybox {

// Carries out one app command, a JSON text of length characters with a NUL behind it. Texts that
// are not JSON and unknown words do nothing. Replies go to every registered app.
void dispatch_app_command(const char* text, std::size_t length);

// Starts the thread that serves the command field of the status block and reports the RC channels.
void start_command_polling();

} // namespace fieldrelaybox
