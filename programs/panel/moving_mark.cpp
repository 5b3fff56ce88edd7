#include "panel/moving_mark.h"

#include "core/log.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace panel {
namespace {

struct MarkDirectory {
    const char* variable; // with the directory
    const char* name;
};

constexpr std::array<MarkDirectory, 2> mark_directories{
    {{"RUNTIME_DIRECTORY", "/moving"}, {"XDG_RUNTIME_DIR", "/fieldrelaybox-panel.moving"}}};

bool make_mark_file(const char* path) {
    const int file = open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    return file >= 0 && close(file) == 0;
}

} // namespace

MovingMark find_moving_mark() {
    for (const MarkDirectory& where : mark_directories) {
        const char* const directory = std::getenv(where.variable);
        if (directory == nullptr || *directory == '\0' || access(directory, W_OK) != 0)
            continue;
        MovingMark mark{.path = std::string(directory) + where.name};
        mark.is_set = access(mark.path.c_str(), F_OK) == 0;
        return mark;
    }
    return {};
}

void set_moving_mark(MovingMark& mark, bool set) {
    if (mark.path.empty() || std::exchange(mark.is_set, set) == set)
        return;
    const char* const path = mark.path.c_str();
    if (set ? !make_mark_file(path) : unlink(path) != 0)
        fieldrelaybox::log_warning("%s: %s", path, std::strerror(errno));
}

} // namespace panel
