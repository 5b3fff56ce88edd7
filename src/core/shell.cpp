#include "core/shell.h"

#include "core/log.h"
#include "core/threads.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <string>
#include <string_view>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace fieldrelaybox {

namespace {

using Clock = std::chrono::steady_clock;

struct ShellStart {
    int output_fd = -1;     // when not negative, it becomes the standard output
    bool own_group = false; // the shell leads a process group, to be killed with its children
    Complaints complaints = Complaints::to_log;
};

// Nothing for the shell itself to do, by text or as one of the words that it knows.
bool is_one_program(std::string_view command) {
    if (constexpr std::string_view with_complaints = " 2>&1"; command.ends_with(with_complaints))
        command.remove_suffix(with_complaints.size());
    return !command.starts_with("echo ") && !command.starts_with("exit ") &&
           std::ranges::all_of(command, [](char c) {
               return std::isalnum(static_cast<unsigned char>(c)) != 0 ||
                      std::string_view(" ./_->").find(c) != std::string_view::npos;
           });
}

// Starts "/bin/sh -c command" with default signal actions. Returns -1 on failure.
pid_t start_shell(const char* command, const ShellStart& start) {
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_t actions;
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_init(&actions);
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes,
                               &none); // the daemon's threads leave some to one of them
    int flags = POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK;
    if (start.output_fd >= 0)
        posix_spawn_file_actions_adddup2(&actions, start.output_fd, STDOUT_FILENO);
    if (start.complaints == Complaints::nowhere)
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    if (start.own_group) {
        posix_spawnattr_setpgroup(&attributes, 0);
        flags |= POSIX_SPAWN_SETPGROUP;
    }
    posix_spawnattr_setflags(&attributes, static_cast<short>(flags));
    // A shell that only waits for a program is a process too many.
    std::string text = is_one_program(command) ? "exec " : "";
    text += command;
    std::array<char, 3> shell{"sh"};
    std::array<char, 3> option{"-c"};
    const std::array<char*, 4> arguments{shell.data(), option.data(), text.data(), nullptr};
    pid_t child = -1;
    const int error =
        posix_spawn(&child, "/bin/sh", &actions, &attributes, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    if (error == 0)
        return child;
    log_error("cannot run \"%s\": %s", command, std::strerror(error));
    return -1;
}

int wait_for(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR)
            return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Waits for the child to end but does not take its exit status; false at the deadline.
bool has_ended_by(pid_t child, Clock::time_point deadline) {
    constexpr std::chrono::milliseconds pause{5};
    siginfo_t ended{};
    while (waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           ended.si_pid == 0) {
        if (Clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(pause);
    }
    return true;
}

// child leads a process group, which may have outlived it. One in an uninterruptible sleep, such as
// in a mount that hangs, dies only when that ends, if ever: then a thread of its own waits for it.
int give_up(pid_t child, const char* command) {
    constexpr std::chrono::milliseconds patience{kill_patience_ms};
    kill(-child, SIGKILL);
    if (has_ended_by(child, Clock::now() + patience))
        wait_for(child);
    else
        start_thread("reaper", [child] { wait_for(child); });
    log_warning("gave up on \"%s\"", command);
    return -1;
}

// child leads a process group. Its exit status, or -1 when it had to be killed.
int wait_or_kill(pid_t child, Clock::time_point deadline, const char* command) {
    return has_ended_by(child, deadline) ? wait_for(child) : give_up(child, command);
}

// Cuts what was read so far into lines and pieces; the unfinished rest stays in pending.
void hand_out_lines(std::string& pending, std::size_t line_limit, bool at_end,
                    const std::function<void(std::string_view)>& on_line) {
    std::size_t start = 0;
    while (start < pending.size()) {
        const std::size_t line_feed = pending.find('\n', start);
        std::size_t length = pending.size() - start;
        if (line_feed != std::string::npos && line_feed - start < line_limit)
            length = line_feed - start + 1;
        else if (length >= line_limit)
            length = line_limit;
        else if (!at_end)
            break;
        on_line(std::string_view(pending).substr(start, length));
        start += length;
    }
    pending.erase(0, start);
}

// True when input has something to read or has ended, false at the deadline and on errors.
bool is_readable_by(int input, Clock::time_point deadline) {
    while (true) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        pollfd waiting{.fd = input, .events = POLLIN, .revents = 0};
        const int ready = left <= 0 ? 0 : poll(&waiting, 1, static_cast<int>(left));
        if (ready >= 0 || errno != EINTR)
            return ready > 0;
    }
}

// Reads until the end of the output or the deadline; true at the end of the output.
bool read_lines(int input, std::size_t line_limit, Clock::time_point deadline,
                const std::function<void(std::string_view)>& on_line) {
    std::string pending;
    std::array<char, 4096> buffer{};
    while (true) {
        if (!is_readable_by(input, deadline))
            return false;
        const ssize_t count = read(input, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            break;
        pending.append(buffer.data(), static_cast<std::size_t>(count));
        hand_out_lines(pending, line_limit, false, on_line);
    }
    hand_out_lines(pending, line_limit, true, on_line);
    return true;
}

} // namespace

int run_shell_command(const char* command) {
    const pid_t child = start_shell(command, {});
    return child < 0 ? -1 : wait_for(child);
}

int run_shell_command(const char* command, int time_limit_ms, Complaints complaints) {
    const auto deadline = Clock::now() + std::chrono::milliseconds(time_limit_ms);
    const pid_t child = start_shell(command, {.own_group = true, .complaints = complaints});
    return child < 0 ? -1 : wait_or_kill(child, deadline, command);
}

int query_shell_command(const char* command, std::size_t line_limit, int time_limit_ms,
                        const std::function<void(std::string_view)>& on_line) {
    const auto deadline = Clock::now() + std::chrono::milliseconds(time_limit_ms);
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        return -1;
    const pid_t child = start_shell(command, {.output_fd = ends[1], .own_group = true});
    close(ends[1]);
    int status = -1;
    if (child > 0) {
        // A tool can hang with its output open or closed.
        const bool read_all = read_lines(ends[0], line_limit, deadline, on_line);
        status = read_all ? wait_or_kill(child, deadline, command) : give_up(child, command);
    }
    close(ends[0]);
    return status;
}

} // namespace fieldrelaybox
