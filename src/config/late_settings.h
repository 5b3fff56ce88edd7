// Settings that the start could not read, since the boot partition was away: they are taken over
// from it before the first save would write the defaults over them.
#pragma once

#include "fieldrelaybox/shared_memory.h"

#include <string>

namespace fieldrelaybox {

// What depends on settings beyond their mirrors and the channel map: done right before and right
// after they are taken over.
struct LateSettingsHooks {
    void (*prepare)();
    void (*follow_up)();
};

// The start had no settings, and went on with these. Called before there is another thread.
void expect_late_settings(const ConfigRecord& at_start);

// Called before there is another thread. Without it nothing else is done.
void set_late_settings_hooks(const LateSettingsHooks& hooks);

// Called before each save, when the partition is there. The first time, each setting of the live
// record that nobody has changed since a start without settings takes its value of the file,
// logged. path names whole settings on the partition; "" when there are none: then everything
// stays.
void take_late_settings(const std::string& path);

} // namespace fieldrelaybox
