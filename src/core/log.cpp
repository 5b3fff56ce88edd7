#include "core/log.h"

#include "core/clock.h"
#include "core/log_outlet.h"
#include "core/log_senders.h"
#include "core/log_text.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace fieldrelaybox {

namespace {

// What the journal takes off the start of a line and keeps as its priority; see sd-daemon(3).
constexpr std::string_view error_prefix = "<3>";
constexpr std::string_view warning_prefix = "<4>";
constexpr std::string_view information_prefix = "<6>";

// systemd tells its services which file the journal reads; see systemd.exec(5).
bool is_read_by_the_journal(int descriptor) {
    const char* journal = std::getenv("JOURNAL_STREAM");
    struct stat details {};
    if (journal == nullptr || fstat(descriptor, &details) != 0)
        return false;
    std::array<char, 48> file{};
    std::snprintf(file.data(), file.size(), "%llu:%llu",
                  static_cast<unsigned long long>(details.st_dev),
                  static_cast<unsigned long long>(details.st_ino));
    return std::string_view(file.data()) == journal;
}

LogOutlet error_outlet{.descriptor = STDERR_FILENO, .longest_line = 1000};
LogOutlet output_outlet{.descriptor = STDOUT_FILENO, .longest_line = longest_log_line};

// A line under way; what does not fit is left out.
struct Line {
    std::array<char, longest_log_output> bytes;
    std::size_t size = 0;
};

void append(Line& line, std::string_view text) {
    line.size += text.copy(line.bytes.data() + line.size, line.bytes.size() - line.size);
}

// text is what there was room for of all characters.
void append_shown(Line& line, std::string_view text, std::size_t all, std::size_t longest) {
    const ShownText shown = show_text(text, std::span(line.bytes).subspan(line.size, longest));
    line.size += shown.written;
    if (shown.read < all)
        append(line, "... (" + std::to_string(all) + " characters)");
}

std::string_view for_journal(std::string_view prefix) {
    return is_read_by_the_journal(STDERR_FILENO) ? prefix : "";
}

void write_line(LogOutlet& outlet, std::string_view prefix, const char* format, va_list arguments) {
    constexpr std::size_t longest_character = 4; // the last that is shown may begin at the end
    std::array<char, longest_log_line + longest_character> text;
    // The analyzer loses track of a later caller's va_start.
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
    const int length = std::vsnprintf(text.data(), text.size(), format, arguments);
    if (length < 0)
        return;
    Line line;
    append(line, prefix);
    const auto all = static_cast<std::size_t>(length);
    append_shown(line, {text.data(), std::min(all, text.size() - 1)}, all, outlet.longest_line);
    append(line, "\n");
    write_log_line(outlet, prefix.empty() ? prefix : warning_prefix,
                   {line.bytes.data(), line.size});
}

bool may_log(LogLimit& limit, std::int64_t now) {
    constexpr std::int64_t interval_ms = 1000;
    const std::int64_t last = limit.last_ms.load(std::memory_order_relaxed);
    if (limit.used.exchange(true, std::memory_order_relaxed) && !has_passed(now, last, interval_ms))
        return false;
    limit.last_ms.store(now, std::memory_order_relaxed);
    return true;
}

} // namespace

void open_log() {
    open_log_outlet(error_outlet);
    open_log_outlet(output_outlet);
}

void log_line(const char* format, ...) {
    if (!take_log_allowance())
        return;
    va_list arguments;
    va_start(arguments, format);
    write_line(error_outlet, for_journal(information_prefix), format, arguments);
    va_end(arguments);
}

void log_warning(const char* format, ...) {
    if (!take_log_allowance())
        return;
    va_list arguments;
    va_start(arguments, format);
    write_line(error_outlet, for_journal(warning_prefix), format, arguments);
    va_end(arguments);
}

void log_error(const char* format, ...) {
    if (!take_log_allowance())
        return;
    va_list arguments;
    va_start(arguments, format);
    write_line(error_outlet, for_journal(error_prefix), format, arguments);
    va_end(arguments);
}

void print_line(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    write_line(output_outlet, "", format, arguments);
    va_end(arguments);
}

void print_own_line(std::string_view line) {
    write_log_line(output_outlet, "", std::string(line) + "\n");
}

void tell_lines_left_out() {
    for (const LinesLeftOut& left_out : take_lines_left_out()) {
        std::array<char, INET_ADDRSTRLEN> name{"other senders"};
        if (left_out.address != 0)
            inet_ntop(AF_INET, &left_out.address, name.data(), name.size());
        log_line("too many lines for %s (%u more left out)", name.data(), left_out.count);
    }
}

void flush_log() {
    flush_log_outlet(error_outlet, for_journal(warning_prefix));
    flush_log_outlet(output_outlet, "");
}

LogLimits& log_limits() {
    static LogLimits limits;
    return limits;
}

void log_limited_warning(LogLimit& limit, std::int64_t now, const char* format, ...) {
    if (!may_log(limit, now)) {
        limit.left_out.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    std::string line = format;
    if (const std::uint32_t count = limit.left_out.exchange(0, std::memory_order_relaxed);
        count > 0)
        line += " (" + std::to_string(count) + " more left out)";
    va_list arguments;
    va_start(arguments, format);
    write_line(error_outlet, for_journal(warning_prefix), line.c_str(), arguments);
    va_end(arguments);
}

} // namespace fieldrelaybox
