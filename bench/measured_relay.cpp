#include "measured_relay.h"

#include "udp.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sched.h>
#include <sstream>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {

namespace {

namespace fs = std::filesystem;

constexpr int find_attempts = 500;
constexpr useconds_t find_pause_us = 10'000;

std::string task_directory(pid_t process) {
    return "/proc/" + std::to_string(process) + "/task";
}

std::string first_line(const fs::path& path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

[[noreturn]] void become_daemon(const char* program, bool segments) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    setenv("FIELDRELAYBOX_SEGMENTS", segments ? "on" : "off", 1);
    const int log = open("daemon.log", O_WRONLY | O_CREAT | O_TRUNC, 0644);
    dup2(log, STDOUT_FILENO);
    dup2(log, STDERR_FILENO);
    execl(program, program, nullptr);
    _exit(127);
}

// Awaited for some seconds; gives up when there is none.
pid_t find_thread(pid_t process, const char* name) {
    for (int attempt = 0; attempt < find_attempts; ++attempt) {
        std::error_code gone;
        for (const auto& task : fs::directory_iterator(task_directory(process), gone)) {
            if (first_line(task.path() / "comm") == name)
                return std::stoi(task.path().filename());
        }
        usleep(find_pause_us);
    }
    give_up("no relay thread in the daemon");
}

void run_on(pid_t thread, int first, int end) {
    cpu_set_t processors;
    CPU_ZERO(&processors);
    for (int i = first; i < end; ++i)
        CPU_SET(i, &processors);
    if (end > first && sched_setaffinity(thread, sizeof processors, &processors) != 0)
        give_up("sched_setaffinity");
}

int last_processor() {
    return static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN)) - 1;
}

} // namespace

void keep_on_own_processor(pid_t relaying_thread) {
    run_on(relaying_thread, last_processor(), last_processor() + 1);
}

void keep_off_relays_processor() {
    run_on(0, 0, last_processor());
}

MeasuredRelay start_daemon(const char* program, bool segments) {
    const pid_t process = fork();
    if (process < 0)
        give_up("fork");
    if (process == 0)
        become_daemon(program, segments);
    const pid_t thread = find_thread(process, "video");
    keep_on_own_processor(thread);
    return {daemon_port, process, thread};
}

void stop_daemon(const MeasuredRelay& daemon) {
    kill(daemon.process, SIGKILL);
    waitpid(daemon.process, nullptr, 0);
}

std::int64_t cpu_time_ns(const MeasuredRelay& relay) {
    const std::string line = first_line(task_directory(relay.process) + "/" +
                                        std::to_string(relay.thread) + "/schedstat");
    if (line.empty())
        give_up("schedstat of the relay thread");
    return std::stoll(line);
}

std::uint64_t drops_at_port(std::uint16_t port) {
    std::ifstream table("/proc/net/udp");
    std::string line;
    std::getline(table, line);
    std::uint64_t drops = 0;
    while (std::getline(table, line)) {
        std::istringstream fields(line);
        std::string field, local;
        fields >> field >> local;
        while (fields >> field) {
        }
        if (std::stoul(local.substr(local.find(':') + 1), nullptr, 16) == port)
            drops += std::stoull(field); // the last column
    }
    return drops;
}

} // namespace bench
