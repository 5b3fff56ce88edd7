// Where file systems are mounted, or should be.
#pragma once

#include <string>
#include <string_view>

namespace fieldrelaybox {

// Tables for the function below: what is mounted, and what the system mounts at its start.
inline constexpr const char* mounted_table = "/proc/self/mounts";
inline constexpr const char* system_table = "/etc/fstab";

// The deepest mount point in table that path is, or lies below; empty when there is none or the
// table cannot be read. path is absolute and has no links. One with other characters than letters,
// digits and "/._-" is passed over, so that the result may stand in a shell command.
std::string deepest_mount_point(const char* table, std::string_view path);

// True when a file system is mounted at point.
bool is_mounted(const std::string& point);

} // namespace fieldrelaybox
