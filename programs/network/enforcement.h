// Makes the networks of the box those of its settings, and takes back what locks its owner out.
// Entered by main.
#pragma once

namespace network {

struct Options {
    int trial_seconds = 60;
    bool without_trial = false; // what the settings want is accepted as it is
    bool keep_trying = false;   // what failed is tried again every minute, or when a marker comes
};

// Ended so because the settings cannot be, or failed their trial: trying again changes nothing.
inline constexpr int exit_refused = 3;

// Until the settings and the networks agree, and no marker of the daemon waits. Returns 0,
// exit_refused, or exit_unable when a step failed.
int make_networks(const Options& options);

// Prints what make_networks would do now, without pass phrases, and does nothing.
int print_plan();

} // namespace network
