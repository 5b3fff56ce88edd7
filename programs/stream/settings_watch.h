// The files of settings as they change: the one in the working directory, which is often a link,
// and others that a kind reads. Entered by the launcher's loop.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace stream {

// A name in a directory.
struct WatchedName {
    std::string directory;
    std::string name;
    int watch = -1;             // of inotify
    bool being_written = false; // and not closed yet

    bool operator==(const WatchedName& other) const {
        return directory == other.directory && name == other.name;
    }
};

struct FileWatch {
    std::vector<std::string> files;
    int descriptor = -1;            // to be polled; -1 when there is none to be had
    bool complete = false;          // else some change is not told of: look now and then
    std::vector<WatchedName> names; // the files, and what they are links to
};

// Begins to watch files, which need not exist.
void start_watching(FileWatch& watch, std::vector<std::string> files);

enum class FileEvent : std::uint8_t {
    none,
    touched, // somebody writes
    written  // somebody has finished, or put another file in the place, or taken it away
};

// What has happened since the last call.
FileEvent take_events(FileWatch& watch);

// Whether one of the files holds only a part of what somebody is writing.
bool is_being_written(const FileWatch& watch);

// Whoever was writing will not go on.
void forget_writers(FileWatch& watch);

} // namespace stream
