#include "config/boot_partition.h"

#include "config/whole_files.h"
#include "core/log.h"
#include "core/mount_points.h"
#include "core/shell.h"

#include <filesystem>

namespace fieldrelaybox {

namespace {

namespace fs = std::filesystem;

std::string left_unmounted; // a mount point that a save could not mount again
Failure told_failure;       // of the last save

// Also through a link whose target is not there, such as one to a partition that is away.
fs::path follow_links(fs::path path) {
    constexpr int most_links = 8;
    std::error_code error;
    for (int links = 0; links < most_links && fs::is_symlink(path, error); ++links)
        path = path.parent_path() / fs::read_symlink(path, error);
    const fs::path directory = fs::weakly_canonical(path.parent_path(), error);
    return directory.empty() ? path : directory / path.filename();
}

std::string master_file() {
    return follow_links(config_file_path).string();
}

// The deepest mount point of file that is there or was promised; safe in a shell command. "/boot"
// when the file lies in no file system of its own.
std::string mount_point_of(const std::string& file) {
    std::string deepest = deepest_mount_point(mounted_table, file);
    for (const std::string& point : {deepest_mount_point(system_table, file), left_unmounted}) {
        if (point.size() > deepest.size() && file.starts_with(point + '/'))
            deepest = point;
    }
    return deepest.size() > 1 ? deepest : "/boot";
}

// A partition that is away hides the directory in which the master would be lost.
bool must_be_mounted(const std::string& point) {
    return !is_mounted(point) &&
           (point == left_unmounted || deepest_mount_point(system_table, point) == point);
}

int run_at(const std::string& command, const std::string& point) {
    return run_shell_command((command + ' ' + point).c_str(), boot_command_time_limit_ms);
}

// A remount that fails shows when the files are opened.
Failure make_writable(const std::string& point) {
    if (must_be_mounted(point)) {
        run_at("mount", point);
        if (must_be_mounted(point))
            return "cannot mount " + point;
    }
    run_at("mount -o rw,remount", point);
    return {};
}

std::string second_file(const std::string& master) {
    return master + ".bak";
}

// The newest that is whole, or "".
std::string whole_file(const std::string& master) {
    for (const std::string& file : {master, second_file(master)}) {
        if (holds_whole_settings(read_file(file)))
            return file;
    }
    return {};
}

// One after the other, and first the one that is not the only whole one.
Failure write_to_card(const std::string& master, const std::string& whole,
                      const std::string& text) {
    const std::string second = second_file(master);
    const bool only_second_is_whole = whole == second;
    const Failure failure = only_second_is_whole ? "" : write_file_or_none(second, text);
    return failure.empty() ? write_file(master, text) : failure;
}

// What is busy stays mounted, and a directory of the root file system was not mounted before.
Failure mount_anew(const std::string& point) {
    const bool was_mounted = is_mounted(point);
    const bool unmounted = run_at("umount", point) == 0;
    const bool failed = run_at("mount", point) != 0 && unmounted;
    const bool away = was_mounted && (failed || !is_mounted(point));
    left_unmounted = away ? point : "";
    return away ? "cannot mount " + point : "";
}

Failure read_back(const std::string& master, const std::string& text) {
    return read_file(master) == text ? "" : master + " is not as it was written";
}

std::string with_unix_line_ends(std::string text) {
    for (std::size_t at = 0; (at = text.find("\r\n", at)) != std::string::npos;)
        text.erase(at, 1);
    return text;
}

Failure refresh_run_copy(const std::string& text) {
    const std::string fresh = std::string(run_copy_path) + ".new";
    const Failure failure = write_file_or_none(fresh, with_unix_line_ends(text));
    return failure.empty() ? rename_file(fresh, run_copy_path) : failure;
}

struct Saved {
    bool on_card;
    Failure failure; // also of what comes after the card
};

Saved save(const TextToSave& text_to_save) {
    const std::string point = mount_point_of(master_file());
    Failure failure = make_writable(point);
    if (!failure.empty())
        return {false, failure};
    const std::string master = master_file(); // a link on the partition is seen only now
    const std::string whole = whole_file(master);
    const std::string text = text_to_save(whole);
    failure = write_to_card(master, whole, text);
    if (failure.empty())
        failure = mount_anew(point);
    if (failure.empty())
        failure = read_back(master, text);
    if (!failure.empty())
        return {false, failure};
    return {true, refresh_run_copy(text)};
}

void tell(const Failure& failure) {
    if (failure == told_failure)
        return;
    told_failure = failure;
    if (failure.empty())
        log_line("settings are saved again");
    else
        log_error("%s", failure.c_str());
}

} // namespace

bool write_settings_to_boot(const TextToSave& text_to_save) {
    const Saved saved = save(text_to_save);
    tell(saved.failure);
    return saved.on_card;
}

} // namespace fieldrelaybox
