#include "stream/child.h"

#include "core/log.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace stream {

namespace {

constexpr std::size_t longest_line = 1000;
constexpr std::size_t most_read_at_once = 65'536; // of a child that never stops talking
constexpr int status_not_run = 127;

std::vector<char*> pointers_to(std::vector<std::string>& words) {
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    return pointers;
}

// In the child; everything else that is open closes by itself.
void prepare_descriptors(int errors) {
    const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    dup2(nothing, STDIN_FILENO);
    dup2(nothing, STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
}

[[noreturn]] void run_command(char* const* arguments, int errors, pid_t launcher,
                              const sigset_t& mask) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != launcher) // it ended before this could be told
        _exit(status_not_run);
    prepare_descriptors(errors);
    signal(SIGPIPE, SIG_DFL);
    sigprocmask(SIG_SETMASK, &mask, nullptr);
    execvp(arguments[0], arguments);
    dprintf(STDERR_FILENO, "ERROR: cannot run %s: %s\n", arguments[0], std::strerror(errno));
    _exit(status_not_run);
}

void hand_out(std::string& line, std::string_view text,
              const std::function<void(std::string_view)>& on_line) {
    while (!text.empty()) {
        const std::size_t length = std::min(text.find('\n'), text.size());
        line +=
            text.substr(0, std::min(length, longest_line - std::min(longest_line, line.size())));
        if (length == text.size())
            return;
        on_line(line);
        line.clear();
        text.remove_prefix(length + 1);
    }
}

void close_errors(Child& child, const std::function<void(std::string_view)>& on_line) {
    if (!child.line.empty())
        on_line(child.line);
    child.line.clear();
    close(child.errors);
    child.errors = -1;
}

ChildEnd describe(int status, bool complained) {
    if (WIFEXITED(status)) {
        const bool well = WEXITSTATUS(status) == 0 && !complained;
        return {well ? Ending::outside : Ending::fault,
                "ended with status " + std::to_string(WEXITSTATUS(status))};
    }
    constexpr std::array from_outside{SIGTERM, SIGKILL, SIGINT, SIGHUP, SIGQUIT};
    const int number = WTERMSIG(status);
    const bool meant = std::ranges::find(from_outside, number) != from_outside.end();
    return {meant ? Ending::outside : Ending::fault, "ended by signal " + std::to_string(number)};
}

} // namespace

bool start_child(Child& child, const Command& command, const sigset_t& mask) {
    std::vector<std::string> words{command.program};
    words.insert(words.end(), command.arguments.begin(), command.arguments.end());
    const std::vector<char*> arguments = pointers_to(words);
    std::array<int, 2> ends{-1, -1};
    const pid_t launcher = getpid();
    pid_t process = -1;
    if (pipe2(ends.data(), O_CLOEXEC) == 0)
        process = fork();
    if (process == 0)
        run_command(arguments.data(), ends[1], launcher, mask);
    if (process < 0)
        fieldrelaybox::log_error("cannot start %s: %s", command.program.c_str(),
                                 std::strerror(errno));
    else
        fcntl(ends[0], F_SETFL, O_NONBLOCK);
    if (ends[1] >= 0)
        close(ends[1]);
    if (process < 0 && ends[0] >= 0)
        close(ends[0]);
    if (process > 0)
        child = {.process = process, .errors = ends[0], .line = ""};
    return process > 0;
}

void read_errors(Child& child, const std::function<void(std::string_view)>& on_line) {
    std::array<char, 4096> buffer{};
    std::size_t total = 0;
    while (child.errors >= 0 && total < most_read_at_once) {
        const ssize_t count = read(child.errors, buffer.data(), buffer.size());
        if (count < 0 && (errno == EAGAIN || errno == EINTR))
            return;
        if (count <= 0)
            return close_errors(child, on_line);
        hand_out(child.line, {buffer.data(), static_cast<std::size_t>(count)}, on_line);
        total += static_cast<std::size_t>(count);
    }
}

void forget_child(Child& child) {
    if (child.errors >= 0)
        close(child.errors);
    child = {};
}

void signal_child(const Child& child, int signal_number) {
    if (child.process > 0 && kill(-child.process, signal_number) != 0)
        kill(child.process, signal_number); // its group is not there yet
}

bool take_end(Child& child, bool complained, ChildEnd& end) {
    siginfo_t ended{};
    if (child.process <= 0 ||
        waitid(P_PID, static_cast<id_t>(child.process), &ended, WEXITED | WNOHANG | WNOWAIT) != 0 ||
        ended.si_pid == 0)
        return false;
    kill(-child.process, SIGKILL); // its number is still its own
    int status = 0;
    waitpid(child.process, &status, 0);
    child.process = -1;
    end = describe(status, complained);
    return true;
}

} // namespace stream
