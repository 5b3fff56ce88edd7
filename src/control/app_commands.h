// The commands of the apps: one table of words for the box, its settings and the camera.
#pragma once

#include "apps/app_request.h"

#include <cstddef>
#include <span>

namespace fieldrelaybox {

// Every command word with its handler.
std::span<const AppCommand> app_commands();

// Carries out one app command, a JSON text of length characters with a NUL behind it. Texts that
// are not JSON and unknown words do nothing. Replies go to every registered app. sender is the app
// it came from. Waits for nothing but sends to the camera: the rest of a word's work runs in lanes.
void dispatch_app_command(const char* text, std::size_t length, const sockaddr_in& sender = {});

} // namespace fieldrelaybox
