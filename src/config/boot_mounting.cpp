#include "config/boot_mounting.h"

#include "core/mount_points.h"
#include "core/shell.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace fieldrelaybox {

namespace {

namespace fs = std::filesystem;

std::string left_unmounted; // a mount point that a save could not mount again

int run_at(const std::string& command, const std::string& point, Complaints complaints) {
    return run_shell_command((command + ' ' + point).c_str(), boot_command_time_limit_ms,
                             complaints);
}

// At a directory of the root file system mount and umount are bound to fail, which is no news.
Complaints complaints_at(const std::string& point) {
    return is_mounted(point) || must_be_mounted(point) ? Complaints::to_log : Complaints::nowhere;
}

} // namespace

BootTurn take_boot_turn() {
    const int file = open(boot_lock_path, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0)
        return {};
    while (flock(file, LOCK_EX) != 0 && errno == EINTR) {
    }
    return {nullptr, [file](void*) { close(file); }};
}

fs::path follow_links(fs::path path) {
    constexpr int most_links = 8;
    std::error_code error;
    for (int links = 0; links < most_links && fs::is_symlink(path, error); ++links)
        path = path.parent_path() / fs::read_symlink(path, error);
    const fs::path directory = fs::weakly_canonical(path.parent_path(), error);
    return directory.empty() ? path : directory / path.filename();
}

std::string boot_mount_point_of(const std::string& file) {
    std::string deepest = deepest_mount_point(mounted_table, file);
    for (const std::string& point : {deepest_mount_point(system_table, file), left_unmounted}) {
        if (point.size() > deepest.size() && file.starts_with(point + '/'))
            deepest = point;
    }
    return deepest.size() > 1 ? deepest : "/boot";
}

bool must_be_mounted(const std::string& point) {
    return !is_mounted(point) &&
           (point == left_unmounted || deepest_mount_point(system_table, point) == point);
}

Failure make_writable(const std::string& point) {
    if (must_be_mounted(point)) {
        run_at("mount", point, Complaints::to_log);
        if (must_be_mounted(point))
            return "cannot mount " + point;
    }
    run_at("mount -o rw,remount", point, complaints_at(point));
    return {};
}

Failure mount_anew(const std::string& point) {
    const bool was_mounted = is_mounted(point);
    const Complaints complaints = complaints_at(point); // as long as it is mounted
    const bool unmounted = run_at("umount", point, complaints) == 0;
    const bool failed = run_at("mount", point, complaints) != 0 && unmounted;
    const bool away = was_mounted && (failed || !is_mounted(point));
    if (away || left_unmounted == point)
        left_unmounted = away ? point : "";
    return away ? "cannot mount " + point : "";
}

bool is_closed(const std::string& point) {
    struct statvfs state {};
    return must_be_mounted(point) ||
           (statvfs(point.c_str(), &state) == 0 && (state.f_flag & ST_RDONLY) != 0);
}

Failure work_on_boot_file(const fs::path& path,
                          const std::function<Failure(const std::string& file)>& work) {
    const std::string point = boot_mount_point_of(follow_links(path).string());
    if (!is_closed(point))
        return work(follow_links(path).string());
    Failure failure = make_writable(point);
    if (!failure.empty())
        return failure;
    failure = work(follow_links(path).string()); // a link on the partition is seen only now
    const Failure mounting = mount_anew(point);
    return failure.empty() ? mounting : failure;
}

Failure remove_link_target(const fs::path& path) {
    std::error_code error;
    if (!fs::is_symlink(path, error))
        return {};
    return work_on_boot_file(path, [](const std::string& file) {
        return unlink(file.c_str()) == 0 || errno == ENOENT ? Failure()
                                                            : failure_of("remove", file);
    });
}

} // namespace fieldrelaybox
