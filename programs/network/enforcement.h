// Makes the networks of the box those of its settings, and takes back what locks its owner out.
// Entered by main.
#pragma once

#include "network/options.h"

namespace network {

// Until the settings and the networks agree, and no marker of the daemon waits. Returns 0,
// exit_refused, or exit_unable when a step failed.
int make_networks(const Options& options);

// Prints what make_networks would do now, without pass phrases, and does nothing.
int print_plan();

} // namespace network
