// query_link_status: one worker at a time asks the tool, so that a hanging tool costs the
// supervisor loop one second of a pass and the process one thread. A tool that is merely slow is
// asked all the time, and its last report holds until the next.
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
constexpr std::chrono::seconds report_lifetime{10};

struct Report {
    std::string interface_name;
    LinkStatus status;
    std::chrono::steady_clock::time_point time;
};

std::mutex mutex; // guards everything below
std::condition_variable finished;
bool is_asking = false;
std::optional<Report> last_report;

void ask_tool(const std::string& interface_name, LinkStatus status) {
    run_guarded("link status", [&] {
        const std::string command = "./bin/wlanstatus " + interface_name;
        query_shell_command(command.c_str(), longest_line, tool_time_limit_ms,
                            [&](std::string_view line) { read_link_status_line(line, status); });
    });
    const std::lock_guard lock(mutex);
    last_report = {interface_name, std::move(status), std::chrono::steady_clock::now()};
    is_asking = false;
    finished.notify_all();
}

// mutex is held, so the worker cannot finish before this does.
void start_worker(const std::string& interface_name, const LinkStatus& status) {
    is_asking =
        start_thread("link status", [interface_name, status] { ask_tool(interface_name, status); });
}

// mutex is held. A report for another interface, or of long ago, is of no use.
bool has_report_for(const std::string& interface_name) {
    return last_report && last_report->interface_name == interface_name &&
           std::chrono::steady_clock::now() - last_report->time <= report_lifetime;
}

} // namespace

void query_link_status(const std::string& interface_name, LinkStatus& result,
                       std::chrono::milliseconds patience) {
    if (!is_shell_safe_name(interface_name))
        return;
    std::unique_lock lock(mutex);
    if (!is_asking)
        start_worker(interface_name, result);
    finished.wait_for(lock, patience, [] { return !is_asking; });
    if (has_report_for(interface_name))
        result = last_report->status;
}

} // namespace fieldrelaybox
