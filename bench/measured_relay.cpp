#include "measured_relay.h"

#include "udp.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
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

} // namespace

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
