// What the settings want of the networks at this moment, and whether that has changed. Entered by
// judgement and enforcement.
#pragma once

#include "network/wishes.h"

#include <optional>
#include <string>

namespace network {

inline constexpr const char* settings_file = "/run/fieldrelaybox.conf";
// Of the daemon: an app changed something.
inline constexpr const char* marker = "/run/wlan.update";

bool marker_waits();

// Whether the settings want something else than when they read so. Saves come without a marker too:
// one that fails leaves the marker, and the next good one the settings.
bool differs_from(const std::string& text);

// The same, and the marker has had its effect.
bool is_changed_since(const std::string& text);

// What the settings want, as they are now.
struct Wanted {
    ConfigRecord settings;
    std::string text; // of them
    Wishes wishes;
    std::string fault;         // why they cannot be; empty when they can
    bool is_acceptable = true; // what answers is to be fallen back on
};

// Whether these failed their trial.
bool is_refused(const Wanted& wanted);

// Nothing while there are no whole settings.
std::optional<Wanted> read_wanted();

// The networks that proved themselves.
Wishes read_accepted();

} // namespace network
