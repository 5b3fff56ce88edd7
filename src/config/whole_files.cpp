#include "config/whole_files.h"

#include "config/settings.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <string_view>
#include <unistd.h>

namespace fieldrelaybox {

namespace {

constexpr mode_t private_mode = 0600;

int open_emptied(const std::string& path) {
    return open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, private_mode);
}

// A new name is on the medium only when its directory is.
void sync_directory(const std::string& path) {
    const std::string parent = std::filesystem::path(path).parent_path().string();
    const int directory = open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory < 0)
        return;
    fsync(directory);
    close(directory);
}

bool write_at_once(int file, const std::string& text) {
    const ssize_t written = write(file, text.data(), text.size());
    if (written == static_cast<ssize_t>(text.size()))
        return fsync(file) == 0;
    if (written >= 0)
        errno = ENOSPC;
    return false;
}

// Closes file.
Failure fill(int file, const std::string& path, const std::string& text) {
    Failure failure = write_at_once(file, text) ? "" : failure_of("write", path);
    close(file);
    if (failure.empty())
        sync_directory(path);
    return failure;
}

// Of the last setting, and what follows it. A save has the value in quotes, so power that goes
// takes the closing quote and all behind it: a value without an opening one was written by hand.
bool is_whole_line(std::string_view line) {
    if (line.find('\n') != std::string_view::npos)
        return line.find_first_of("=:") != std::string_view::npos;
    line.remove_prefix(std::min(line.size(), line.find_first_of("=:")));
    if (line.size() < 2)
        return false;
    return line[1] != '"' || line.find('"', 2) != std::string_view::npos;
}

} // namespace

Failure failure_of(const char* action, const std::string& path) {
    return std::string("cannot ") + action + ' ' + path + ": " + std::strerror(errno);
}

Failure write_file(const std::string& path, const std::string& text) {
    const int file = open_emptied(path);
    return file < 0 ? failure_of("open", path) : fill(file, path, text);
}

Failure write_file_or_none(const std::string& path, const std::string& text) {
    const int file = open_emptied(path);
    if (file < 0)
        return failure_of("open", path);
    Failure failure = fill(file, path, text);
    if (!failure.empty())
        unlink(path.c_str());
    return failure;
}

Failure replace_private_file(const std::string& path, const std::string& text) {
    std::string fresh = path + ".XXXXXX";
    const int file = mkostemp(fresh.data(), O_CLOEXEC);
    if (file < 0)
        return failure_of("open", path);
    Failure failure = write_at_once(file, text) ? "" : failure_of("write", path);
    close(file);
    if (failure.empty())
        failure = rename_file(fresh, path);
    if (failure.empty())
        sync_directory(path);
    else
        unlink(fresh.c_str());
    return failure;
}

Failure rename_file(const std::string& from, const std::string& to) {
    return std::rename(from.c_str(), to.c_str()) == 0 ? "" : failure_of("replace", to);
}

std::string read_file(const std::string& path) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return {};
    std::string text;
    std::array<char, 4096> buffer{};
    ssize_t count = 0;
    while ((count = read(file, buffer.data(), buffer.size())) > 0)
        text.append(buffer.data(), static_cast<std::size_t>(count));
    close(file);
    return count == 0 ? text : "";
}

bool holds_whole_settings(const std::string& text) {
    const std::string_view comment = settings().front().comment;
    const std::string_view heading = comment.substr(0, comment.find('\r'));
    if (std::ranges::count(text, '\0') != 0)
        return false;
    if (text.find(heading) == std::string::npos)
        return text.find_first_of("=:") != std::string::npos;
    const std::size_t last = text.rfind('\n' + std::string(settings().back().key));
    return last != std::string::npos && is_whole_line(std::string_view(text).substr(last + 1));
}

} // namespace fieldrelaybox
