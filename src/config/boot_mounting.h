// The partition that a file of the boot medium lies on: made writable, and mounted anew afterwards.
// Several programs do that; they take turns.
#pragma once

#include "config/whole_files.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

namespace fieldrelaybox {

// For each shell command at the boot partition: one that hangs must not hold up all later saves.
inline constexpr int boot_command_time_limit_ms = 10'000;

// Whoever has its turn has locked this file. Only tests put it elsewhere.
inline const char* boot_lock_path = "/run/fieldrelaybox.conf.lock";

// One program at a time mounts and writes: another's umount would uncover the directory below, and
// what is written there is lost.
using BootTurn = std::shared_ptr<void>;

// Waits for it, whoever holds it; it ends with the last copy. Empty when it cannot be had at all.
[[nodiscard]] BootTurn take_boot_turn();

// Where path leads, also through a link whose target is not there, such as one to a partition that
// is away.
std::filesystem::path follow_links(std::filesystem::path path);

// The deepest mount point of file that is there or was promised; safe in a shell command. "/boot"
// when the file lies in no file system of its own.
std::string boot_mount_point_of(const std::string& file);

// A partition that is away hides the directory in which a file would be lost.
bool must_be_mounted(const std::string& point);

// A remount that fails shows when files are opened.
Failure make_writable(const std::string& point);

// What is busy stays mounted, and a directory of the root file system was not mounted before.
Failure mount_anew(const std::string& point);

// Whether nothing can be written there as it is: read-only, or away.
bool is_closed(const std::string& point);

// Runs work with the file that path leads to. Where it lies is mounted writable for that, and anew
// afterwards, if it is closed. The caller has its turn. Returns the first failure.
Failure work_on_boot_file(const std::filesystem::path& path,
                          const std::function<Failure(const std::string& file)>& work);

// Removes what the link at path leads to; does nothing when path is no link. The caller has its
// turn.
Failure remove_link_target(const std::filesystem::path& path);

} // namespace fieldrelaybox
