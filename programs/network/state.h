// What is remembered from one run to the next: files, each a settings text or just there.
#pragma once

#include <string>

namespace network {

// The settings of the last networks that proved themselves.
std::string accepted_file();

// Settings that failed their trial, until others are accepted.
std::string refused_file();

// There while networks are on trial: whoever comes upon it goes on with the trial.
std::string trial_file();

// There while steps are carried out, and after one that was for all networks failed: what is found
// then may not be in force.
std::string unfinished_file();

// There while somebody waits with --accept: a trial ends well by it, and nobody waits for a next
// try.
std::string accept_file();

bool is_there(const std::string& path);

// A failure is logged.
void write_state(const std::string& path, const std::string& text);

} // namespace network
