#include "core/mount_points.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <memory>
#include <mntent.h>

namespace fieldrelaybox {

namespace {

bool lies_below(std::string_view path, std::string_view point) {
    return point == "/" || path == point || (path.starts_with(point) && path[point.size()] == '/');
}

bool is_safe_path(std::string_view path) {
    const auto safe = [](unsigned char c) {
        return (c < 0x80 && std::isalnum(c) != 0) || c == '/' || c == '.' || c == '_' || c == '-';
    };
    return path.starts_with('/') && std::all_of(path.begin(), path.end(), safe);
}

} // namespace

std::string deepest_mount_point(const char* table, std::string_view path) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(setmntent(table, "re"), endmntent);
    std::string deepest;
    std::array<char, 4096> line{};
    mntent entry{};
    while (file != nullptr &&
           getmntent_r(file.get(), &entry, line.data(), static_cast<int>(line.size())) != nullptr) {
        const std::string_view point = entry.mnt_dir;
        if (point.size() > deepest.size() && is_safe_path(point) && lies_below(path, point))
            deepest = point;
    }
    return deepest;
}

bool is_mounted(const std::string& point) {
    return deepest_mount_point(mounted_table, point) == point;
}

} // namespace fieldrelaybox
