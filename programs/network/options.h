// What the program was asked for. Entered by main, judgement and enforcement.
#pragma once

namespace network {

struct Options {
    int trial_seconds = 60;
    bool without_trial = false; // what the settings want is accepted as it is
    bool keep_trying = false;   // what failed is tried again every minute, or when a marker comes
};

// Ended so because the settings cannot be, or failed their trial: trying again changes nothing.
inline constexpr int exit_refused = 3;

} // namespace network
