// A file that lies there while something may move: a panel that was killed in a hold sends no stop,
// so the next one does. It outlives the program but not the computer.
#pragma once

#include <string>

namespace panel {

struct MovingMark {
    std::string path; // empty: none is kept
    bool is_set = false;
};

// In the directory that systemd gives, RUNTIME_DIRECTORY, or in that of the user, XDG_RUNTIME_DIR.
// Without either none is kept.
MovingMark find_moving_mark();

// Makes or removes the file when that changes; a failure is told in the log.
void set_moving_mark(MovingMark& mark, bool set);

} // namespace panel
