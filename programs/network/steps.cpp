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
#include <utility>

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

// What is not in force is not to be found there as if it were.
void take_back(std::span<const Step> done, std::string_view network) {
    std::error_code error;
    for (const Step& step : done) {
        if (step.kind == Step::Kind::write && step.network == network)
            std::filesystem::remove(step.text, error);
    }
}

} // namespace

bool has_failed(const std::vector<Failure>& failures, std::string_view network) {
    return std::ranges::find(failures, network, &Failure::network) != failures.end();
}

std::vector<Failure> carry_out(const std::vector<Step>& steps) {
    std::vector<Failure> failures;
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const std::string_view network = steps[i].network;
        const bool is_left = !network.empty() && has_failed(failures, network);
        std::string words = is_left ? "" : carry_out(steps[i]);
        if (words.empty())
            continue;
        take_back(std::span(steps).first(i), network);
        failures.push_back({network, std::move(words)});
    }
    return failures;
}

} // namespace network
