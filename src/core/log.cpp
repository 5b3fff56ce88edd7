#include "core/log.h"

#include "core/clock.h"

#include <array>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

namespace fieldrelaybox {

namespace {

// What the journal takes off the start of a line and keeps as its priority; see sd-daemon(3).
constexpr std::string_view error_prefix = "<3>";
constexpr std::string_view warning_prefix = "<4>";
constexpr std::string_view information_prefix = "<6>";

iovec part_of(std::string_view text) {
    return {.iov_base = const_cast<char*>(text.data()), .iov_len = text.size()};
}

// A descriptor that cannot take the line loses it: there is nowhere left to tell.
void write_line(int descriptor, std::string_view prefix, std::string_view text) {
    const std::array<iovec, 3> parts{part_of(prefix), part_of(text), part_of("\n")};
    [[maybe_unused]] const ssize_t written = writev(descriptor, parts.data(), parts.size());
}

// A line feed in the text, which may come from the network, must not let the rest set a priority.
void write_each_line(int descriptor, std::string_view prefix, std::string_view text) {
    std::size_t line_feed = prefix.empty() ? std::string_view::npos : text.find('\n');
    for (; line_feed != std::string_view::npos; line_feed = text.find('\n')) {
        write_line(descriptor, prefix, text.substr(0, line_feed));
        text.remove_prefix(line_feed + 1);
    }
    write_line(descriptor, prefix, text);
}

void format_line(int descriptor, std::string_view prefix, const char* format, va_list arguments) {
    std::array<char, 512> short_text{};
    va_list again;
    va_copy(again, arguments);
    // The analyzer loses track of the fourth caller's va_start.
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
    const int length = std::vsnprintf(short_text.data(), short_text.size(), format, arguments);
    if (length >= 0 && static_cast<std::size_t>(length) < short_text.size()) {
        write_each_line(descriptor, prefix, {short_text.data(), static_cast<std::size_t>(length)});
    } else if (length > 0) {
        std::string long_text(static_cast<std::size_t>(length) + 1, '\0');
        std::vsnprintf(long_text.data(), long_text.size(), format, again);
        write_each_line(descriptor, prefix, {long_text.data(), static_cast<std::size_t>(length)});
    }
    va_end(again);
}

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

std::string_view for_journal(std::string_view prefix) {
    return is_read_by_the_journal(STDERR_FILENO) ? prefix : "";
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

void log_line(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    format_line(STDERR_FILENO, for_journal(information_prefix), format, arguments);
    va_end(arguments);
}

void log_warning(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    format_line(STDERR_FILENO, for_journal(warning_prefix), format, arguments);
    va_end(arguments);
}

void log_error(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    format_line(STDERR_FILENO, for_journal(error_prefix), format, arguments);
    va_end(arguments);
}

void print_line(const char* format, ...) {
    std::fflush(stdout);
    va_list arguments;
    va_start(arguments, format);
    format_line(STDOUT_FILENO, "", format, arguments);
    va_end(arguments);
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
    format_line(STDERR_FILENO, for_journal(warning_prefix), line.c_str(), arguments);
    va_end(arguments);
}

} // namespace fieldrelaybox
