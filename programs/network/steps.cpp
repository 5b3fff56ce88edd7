#include "network/steps.h"

#include "config/whole_files.h"
#include "core/shell.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <span>
#include <sys/stat.h>
#include <system_error>
#include <thread>

namespace network {

namespace {

constexpr int command_ms = 45'000; // hostapd's interface may be busy

// The folders are NetworkManager's, which may come later and has things for all to read there.
std::string write_private(const std::string& path, const std::string& text) {
    constexpr mode_t readable_for_all = 022;
    std::error_code error;
    const mode_t before = umask(readable_for_all);
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), error);
    umask(before);
    return fieldrelaybox::replace_private_file(path, text);
}

// Tried again for as long as patience holds. Returns the last exit status.
int run(const std::string& command, std::chrono::seconds patience) {
    constexpr std::chrono::seconds pause{1};
    constexpr int not_there = 127; // the program
    const auto end = std::chrono::steady_clock::now() + patience;
    while (true) {
        const int status = fieldrelaybox::run_shell_command(command.c_str(), command_ms);
        if (status == 0 || status == not_there || std::chrono::steady_clock::now() >= end)
            return status;
        std::this_thread::sleep_for(pause);
    }
}

std::string carry_out(const Step& step) {
    constexpr std::chrono::seconds start_of_network_manager{20};
    std::error_code error;
    switch (step.kind) {
    case Step::Kind::write:
        return write_private(step.text, step.content);
    case Step::Kind::remove:
        std::filesystem::remove(step.text, error);
        return error ? "cannot remove " + step.text + ": " + error.message() : "";
    case Step::Kind::attempt:
        run(step.text + " 2>/dev/null", {});
        return "";
    case Step::Kind::run:
    case Step::Kind::ask:
        break;
    }
    const int status = run(step.text, step.kind == Step::Kind::ask ? start_of_network_manager
                                                                   : std::chrono::seconds{});
    return status == 0 ? "" : "\"" + step.text + "\" ended with status " + std::to_string(status);
}

// What is not in force is not to be found there as if it were: the files of each network for which
// something was still to be done.
void take_back(std::span<const Step> done, std::span<const Step> left) {
    std::error_code error;
    for (const Step& step : done) {
        const bool is_unfinished =
            std::ranges::find(left, step.network, &Step::network) != left.end();
        if (step.kind == Step::Kind::write && is_unfinished)
            std::filesystem::remove(step.text, error);
    }
}

} // namespace

std::string carry_out(const std::vector<Step>& steps) {
    for (std::size_t i = 0; i < steps.size(); ++i) {
        std::string failure = carry_out(steps[i]);
        if (failure.empty())
            continue;
        take_back(std::span(steps).first(i), std::span(steps).subspan(i));
        return failure;
    }
    return "";
}

} // namespace network
