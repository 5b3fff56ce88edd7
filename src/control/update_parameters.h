// "updateparam": the parameters by which an app changes settings. What each one changes, mirrors
// and runs stands in the rows of its settings (config/setting.h); here is what goes beyond the
// room of the settings.
#pragma once

#include "apps/app_request.h"

#include <span>
#include <string_view>

namespace fieldrelaybox {

// What a parameter needs besides its settings.
struct ParameterHooks {
    std::string_view name;

    // Log lines before anything changes.
    void (*announce)(const AppRequest& request) = nullptr;

    // Done right before the settings change.
    void (*prepare)() = nullptr;

    // What else depends on the settings: done right after they changed, before the save.
    void (*follow_up)() = nullptr;

    // Takes the place of all of the above; nothing is saved.
    void (*instead)(const AppRequest& request) = nullptr;
};

std::span<const ParameterHooks> parameter_hooks();

// Applies the request's parameter at once: change and mirror. The save, and the commands after it,
// run in lanes of theirs. Unknown names change nothing.
void update_parameter(const AppRequest& request);

// Has the first save bring along what depends on settings that it takes over from the boot
// partition (config/late_settings.h). Called by start-up.
void follow_late_settings();

} // namespace fieldrelaybox
