// The polling thread: commands that sibling programs leave in the status block, and the RC channel
// values for the apps.
#pragma once

#include <cstdint>

namespace fieldrelaybox {

// Starts the thread; called once by init_data_source.
void start_command_polling();

// Carries out the command in the command field, if there is one, and clears the field afterwards:
// its first byte last, so that a writer that waits for an empty field does not lose anything.
void serve_command_field();

// Posts the RC channel record when RC control is on and more than 300 ms have passed since
// last_report, which is then set to now.
void report_rc_channels(std::int64_t now, std::int64_t& last_report);

} // namespace fieldrelaybox
