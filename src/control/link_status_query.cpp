// query_link_status: one worker at a time asks the tool, so that a hanging tool costs the
// supervisor loop one second of a pass and the process one thread.
#include "control/wifi.h"
#include "core/shell.h"
#include "core/text.h"
#include "core/threads.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace fieldrelaybox {

namespace {

constexpr std::size_t longest_line = 98;
constexpr std::chrono::milliseconds patience{1000};
constexpr std::chrono::seconds report_lifetime{10};

enum class WorkerState : std::uint8_t { idle, asking, finished };

std::mutex mutex; // guards everything below
std::condition_variable finished;
WorkerState state = WorkerState::idle;
std::string asked_interface;
LinkStatus reported;
std::chrono::steady_clock::time_point report_time;

void ask_tool(const std::string& interface_name, LinkStatus status) {
    run_guarded("link status", [&] {
        const std::string command = "./bin/wlanstatus " + interface_name;
        query_shell_command(command.c_str(), longest_line, tool_time_limit_ms,
                            [&](std::string_view line) { read_link_status_line(line, status); });
    });
    const std::lock_guard lock(mutex);
    reported = std::move(status);
    report_time = std::chrono::steady_clock::now();
    state = WorkerState::finished;
    finished.notify_all();
}

// mutex is held, so the worker cannot finish before this does.
void start_worker(const std::string& interface_name, const LinkStatus& status) {
    asked_interface = interface_name;
    if (start_thread("link status", [interface_name, status] { ask_tool(interface_name, status); }))
        state = WorkerState::asking;
}

// mutex is held. A late report for another interface, or of long ago, is of no use any more.
bool is_useless_report(const std::string& interface_name) {
    return state == WorkerState::finished &&
           (asked_interface != interface_name ||
            std::chrono::steady_clock::now() - report_time > report_lifetime);
}

} // namespace

void query_link_status(const std::string& interface_name, LinkStatus& result) {
    if (!is_shell_safe_name(interface_name))
        return;
    std::unique_lock lock(mutex);
    if (is_useless_report(interface_name))
        state = WorkerState::idle;
    if (state == WorkerState::idle)
        start_worker(interface_name, result);
    finished.wait_for(lock, patience, [] { return state != WorkerState::asking; });
    if (state != WorkerState::finished || asked_interface != interface_name)
        return;
    result = std::move(reported);
    state = WorkerState::idle;
}

} // namespace fieldrelaybox
