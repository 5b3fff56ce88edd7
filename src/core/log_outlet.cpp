#include "core/log_outlet.h"

#include "core/statistics.h"

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fieldrelaybox {

namespace {

bool has_room(int descriptor) {
    pollfd asked{.fd = descriptor, .events = POLLOUT, .revents = 0};
    return poll(&asked, 1, 0) > 0;
}

// What a single write took; 0 or less when it took nothing.
ssize_t write_now(const LogOutlet& outlet, std::string_view text) {
    if (outlet.kind == OutletKind::socket)
        return send(outlet.descriptor, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (outlet.kind == OutletKind::asked && !has_room(outlet.descriptor))
        return 0;
    return write(outlet.descriptor, text.data(), text.size());
}

// outlet.mutex is held. What is left of a text waits for the next line.
bool put(LogOutlet& outlet, std::string_view text) {
    const ssize_t written = write_now(outlet, text);
    if (written <= 0)
        return false;
    const std::string_view rest = text.substr(static_cast<std::size_t>(written));
    std::copy_n(rest.data(), rest.size(), outlet.rest.data());
    outlet.rest_size = rest.size();
    return true;
}

// outlet.mutex is held.
bool put_rest(LogOutlet& outlet) {
    return outlet.rest_size == 0 ||
           (put(outlet, {outlet.rest.data(), outlet.rest_size}) && outlet.rest_size == 0);
}

// outlet.mutex is held. Both in one write: where there is no room for the line, nothing flows yet.
bool put_behind_notice(LogOutlet& outlet, std::string_view prefix, std::string_view line) {
    std::array<char, longest_log_output> both{};
    const int length =
        std::snprintf(both.data(), both.size(), "%.*s%llu lines lost: nobody read them\n",
                      static_cast<int>(prefix.size()), prefix.data(),
                      static_cast<unsigned long long>(outlet.untold));
    const auto size = static_cast<std::size_t>(length);
    const std::size_t copied = line.copy(both.data() + size, both.size() - size);
    if (!put(outlet, {both.data(), size + copied}))
        return false;
    outlet.untold = 0;
    return true;
}

// outlet.mutex is held.
bool put_line(LogOutlet& outlet, std::string_view notice_prefix, std::string_view line) {
    return outlet.untold == 0 ? put(outlet, line) : put_behind_notice(outlet, notice_prefix, line);
}

} // namespace

// A file waits for nobody. A terminal or a pipe of somebody else's cannot always be opened anew.
void open_log_outlet(LogOutlet& outlet) {
    struct stat details {};
    if (fstat(outlet.descriptor, &details) != 0)
        return;
    if (S_ISSOCK(details.st_mode))
        outlet.kind = OutletKind::socket;
    if (!S_ISFIFO(details.st_mode) && !S_ISCHR(details.st_mode))
        return;
    std::array<char, 32> path{};
    std::snprintf(path.data(), path.size(), "/proc/self/fd/%d", outlet.descriptor);
    const int own = open(path.data(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (own >= 0) {
        outlet.descriptor = own;
        outlet.kind = OutletKind::own;
    }
}

void write_log_line(LogOutlet& outlet, std::string_view notice_prefix, std::string_view line) {
    const std::lock_guard lock(outlet.mutex);
    if (put_rest(outlet) && put_line(outlet, notice_prefix, line))
        return;
    ++outlet.untold;
    count(statistics().log_lines_lost);
}

void flush_log_outlet(LogOutlet& outlet, std::string_view notice_prefix) {
    const std::lock_guard lock(outlet.mutex);
    if (put_rest(outlet) && outlet.untold != 0)
        put_behind_notice(outlet, notice_prefix, "");
}

} // namespace fieldrelaybox
