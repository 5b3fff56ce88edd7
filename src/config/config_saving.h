// Keeping the settings: whoever changed one asks for a save, which writes the configuration file of
// the boot partition in a lane of its own. Nobody waits for it but what ends the box.
#pragma once

#include "config/settings_commands.h"

#include <cstdint>
#include <functional>

namespace fieldrelaybox {

// Writes the live record to the boot partition, now, but takes over first what only the partition
// has (config/late_settings.h). A failure is logged and counted.
void save_config_file();

// Has the live record saved as it is now or newer: all that wait for the saver share one save. The
// commands run after it, whether it succeeded or not, since the settings are in force; those that
// wait give way to later ones of the same kind. Never waits.
void request_save(SettingsCommands commands = {});

// Tells one request from another, also those of run_between_saves: later ones are greater.
using SaveTicket = std::uint64_t;

// That of the last request so far.
SaveTicket last_save_request();

// Waits until everything that was requested up to ticket has been saved or run. Returns false,
// logged, when that takes more than time_limit_ms, since a mount can hang.
bool await_save(SaveTicket ticket, int time_limit_ms);

// The same, and no save begins any more: the process is about to end.
bool finish_saving(SaveTicket ticket, int time_limit_ms);

// Has body run between two saves, for other work on the boot partition. Its commands need a time
// limit. A waiting body of the same kind, a literal, gives way.
void run_between_saves(const char* kind, std::function<void()> body);

// Logs once when what is under way at the partition has been so for this long at now, a reading of
// the timer clock: a card that hangs gives no error. Called on every supervisor pass.
inline constexpr int slow_save_ms = 10'000;
void tell_of_slow_save(std::int64_t now);

} // namespace fieldrelaybox
