// Keeping the settings: the configuration file is written back to the boot partition whenever a
// setting changes.
#pragma once

#include <functional>

namespace fieldrelaybox {

// Writes the live record to the boot partition. A failure is logged and counted.
void save_config_file();

// Applies change to the live record and saves the file as one step: concurrent calls wait for each
// other, so no two of them mix their changes, file writes or mounts. after_save runs before the
// next one may begin; it must not wait for anything.
void change_settings(
    const std::function<void()>& change, const std::function<void()>& after_save = [] {});

// Runs body while no save is under way, for other work on the boot partition. Its commands need a
// time limit.
void run_between_saves(const std::function<void()>& body);

// Lets no save begin any more and waits for the one under way, so that the process can end without
// leaving half a file. Of those that come later or wait their turn, none changes anything. Gives up
// after time_limit_ms, since a mount can hang.
void stop_saving(int time_limit_ms);

} // namespace fieldrelaybox
