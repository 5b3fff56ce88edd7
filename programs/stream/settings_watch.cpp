#include "stream/settings_watch.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace stream {

namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t finished = IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE;
constexpr std::uint32_t watched =
    finished | IN_CREATE | IN_MODIFY | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
constexpr int most_links = 8; // of links to links

// The file at path, or else the first of its directories that is missing, where the rest will be.
WatchedName name_of(fs::path path) {
    std::error_code error;
    while (path.has_relative_path() && !fs::is_directory(path.parent_path(), error))
        path = path.parent_path();
    return {.directory = path.parent_path(), .name = path.filename(), .watch = -1};
}

// The files, and all that they are links to.
std::vector<WatchedName> names_of(const std::vector<std::string>& files) {
    std::error_code error;
    std::vector<WatchedName> names;
    for (const std::string& file : files) {
        fs::path path = fs::absolute(file, error);
        for (int links = 0; links < most_links && !path.empty(); ++links) {
            names.push_back(name_of(path));
            const fs::path target = fs::read_symlink(path, error);
            path = target.empty() ? target : path.parent_path() / target;
        }
    }
    return names;
}

void watch_names(FileWatch& watch, std::vector<WatchedName> names) {
    if (watch.descriptor >= 0)
        close(watch.descriptor);
    watch.descriptor = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    watch.names = std::move(names);
    watch.complete = watch.descriptor >= 0;
    for (WatchedName& name : watch.names) {
        name.watch = inotify_add_watch(watch.descriptor, name.directory.c_str(), watched);
        watch.complete = watch.complete && name.watch >= 0;
    }
}

// Links may lead elsewhere than before, directories may have come, even while this looks.
void renew_watches(FileWatch& watch) {
    constexpr int most_tries = 5;
    for (int tries = 0; tries < most_tries; ++tries) {
        std::vector<WatchedName> names = names_of(watch.files);
        if (watch.complete && names == watch.names)
            return;
        watch_names(watch, std::move(names));
    }
}

// What has just got a name: a new file is still to be filled; links and directories are whole.
bool is_new_file(const WatchedName& name) {
    struct stat status {};
    const std::string path = name.directory + '/' + name.name;
    return lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1;
}

FileEvent meaning_of(FileWatch& watch, const inotify_event& event, std::string_view name) {
    const bool directory_gone = (event.mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED)) != 0;
    if (directory_gone)
        watch.complete = false;
    if (directory_gone || (event.mask & IN_Q_OVERFLOW) != 0)
        return FileEvent::written;
    const auto ours = std::ranges::find_if(watch.names, [&](const WatchedName& each) {
        return each.watch == event.wd && each.name == name;
    });
    if (ours == watch.names.end())
        return FileEvent::none;
    const bool made = (event.mask & IN_CREATE) != 0;
    ours->being_written = (event.mask & finished) == 0 && (!made || is_new_file(*ours));
    return ours->being_written ? FileEvent::touched : FileEvent::written;
}

FileEvent meaning_of_all(FileWatch& watch, std::string_view events) {
    FileEvent all = FileEvent::none;
    while (events.size() >= sizeof(inotify_event)) {
        inotify_event event{};
        std::memcpy(&event, events.data(), sizeof event);
        events.remove_prefix(sizeof event);
        std::string_view name = events.substr(0, event.len);
        events.remove_prefix(name.size());
        name = name.substr(0, name.find('\0')); // it is padded
        all = std::max(all, meaning_of(watch, event, name));
    }
    return all;
}

} // namespace

void start_watching(FileWatch& watch, std::vector<std::string> files) {
    watch.files = std::move(files);
    renew_watches(watch);
}

FileEvent take_events(FileWatch& watch) {
    std::array<char, 4096> buffer{};
    FileEvent all = FileEvent::none;
    ssize_t count = 0;
    while ((count = read(watch.descriptor, buffer.data(), buffer.size())) > 0)
        all =
            std::max(all, meaning_of_all(watch, {buffer.data(), static_cast<std::size_t>(count)}));
    const bool was_complete = watch.complete;
    if (all == FileEvent::written || !was_complete)
        renew_watches(watch);
    const bool missed_some = watch.complete && !was_complete;
    return missed_some ? FileEvent::written : all;
}

bool is_being_written(const FileWatch& watch) {
    return std::ranges::any_of(watch.names, &WatchedName::being_written);
}

void forget_writers(FileWatch& watch) {
    for (WatchedName& name : watch.names)
        name.being_written = false;
}

} // namespace stream
