#include "rcin/show.h"

#include "core/clock.h"
#include "core/exit_status.h"
#include "core/signal_sets.h"
#include "fieldrelaybox/shared_memory.h"
#include "rcin/show_text.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <optional>
#include <string>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace rcin {

namespace {

constexpr const char* start_of_screen = "\033[?25l\033[H\033[2J"; // without the cursor
constexpr const char* redraw = "\033[H";                          // over what is there
constexpr const char* end_of_line = "\033[K\n";
constexpr const char* end_of_screen = "\033[J";
constexpr const char* cursor_again = "\033[?25h";

constexpr std::int64_t redraw_us = 50'000;
constexpr std::int64_t line_us = 500'000;
constexpr int redraws_for_heartbeat = 10; // a process that lives has one by then

// A copy, so that a block that is made anew or cut short meanwhile does no harm. Nothing, with
// errno set, when there is none.
std::optional<StatusBlock> copy_status_block() {
    const int descriptor = shm_open(FIELDRELAYBOX_STATUS_NAME, O_RDONLY | O_CLOEXEC, 0);
    if (descriptor < 0)
        return {};
    StatusBlock block{};
    const ssize_t size = pread(descriptor, &block, sizeof block, 0);
    close(descriptor);
    errno = ENOENT;
    return size == sizeof block ? std::optional(block) : std::nullopt;
}

bool print(const std::string& text) {
    return std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0;
}

std::string for_screen(const std::string& text) {
    winsize size{};
    const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    std::string screen = redraw;
    for (const char letter : known ? fitting_text(text, size.ws_row, size.ws_col) : text)
        screen += letter == '\n' ? end_of_line : std::string(1, letter);
    return screen + end_of_screen;
}

// Waits for one of the signals; false when the time is over.
bool is_ended(const sigset_t& signals, std::int64_t microseconds) {
    const timespec time_limit{.tv_sec = 0, .tv_nsec = static_cast<long>(microseconds * 1000)};
    return sigtimedwait(&signals, nullptr, &time_limit) > 0;
}

int tell_no_block() {
    if (errno == ENOENT)
        std::fputs("nothing runs here: there is no status block\n", stderr);
    else
        std::fprintf(stderr, "cannot look into the status block: %s\n", std::strerror(errno));
    return fieldrelaybox::exit_unable;
}

// Whether to go on: false when one of the signals came. A block that is gone is told later.
bool wait_for_heartbeat(const sigset_t& signals, Watched& watched) {
    for (int i = 0; i < redraws_for_heartbeat && watched.heartbeat_us == 0; ++i) {
        if (const std::optional<StatusBlock> block = copy_status_block())
            watch(watched, *block, fieldrelaybox::monotonic_us());
        if (is_ended(signals, redraw_us))
            return false;
    }
    return true;
}

// Returns the exit status.
int show_until(const sigset_t& signals, Watched& watched, bool is_screen) {
    std::string shown;
    do {
        const std::optional<StatusBlock> block = copy_status_block();
        if (!block)
            return tell_no_block();
        const std::int64_t now_us = fieldrelaybox::monotonic_us();
        watch(watched, *block, now_us);
        const std::string text = is_screen ? for_screen(screen_text(watched, *block, now_us))
                                           : line_text(watched, *block, now_us);
        if (text != shown && !print(text))
            return fieldrelaybox::exit_unable;
        shown = text;
    } while (!is_ended(signals, is_screen ? redraw_us : line_us));
    return 0;
}

} // namespace

int show_channels() {
    const sigset_t signals = fieldrelaybox::hold_back_signals({SIGINT, SIGTERM, SIGHUP});
    if (!copy_status_block())
        return tell_no_block();
    Watched watched;
    if (!wait_for_heartbeat(signals, watched))
        return 0;
    const bool is_screen = isatty(STDOUT_FILENO) == 1;
    if (is_screen)
        print(start_of_screen);
    const int status = show_until(signals, watched, is_screen);
    if (is_screen)
        print(cursor_again);
    return status;
}

} // namespace rcin
