#include "core/log.h"

#include "core/clock.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <string>
#include <sys/uio.h>
#include <unistd.h>

namespace fieldrelaybox {

namespace {

// A descriptor that cannot take the line loses it: there is nowhere left to tell.
void write_line(int descriptor, const char* text, std::size_t length) {
    char line_feed = '\n';
    const std::array<iovec, 2> parts{
        {{.iov_base = const_cast<char*>(text), .iov_len = length}, {&line_feed, 1}}};
    [[maybe_unused]] const ssize_t written = writev(descriptor, parts.data(), parts.size());
}

void format_line(int descriptor, const char* format, va_list arguments) {
    std::array<char, 512> short_text{};
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(short_text.data(), short_text.size(), format, arguments);
    if (length >= 0 && static_cast<std::size_t>(length) < short_text.size()) {
        write_line(descriptor, short_text.data(), static_cast<std::size_t>(length));
    } else if (length > 0) {
        std::string long_text(static_cast<std::size_t>(length) + 1, '\0');
        std::vsnprintf(long_text.data(), long_text.size(), format, again);
        write_line(descriptor, long_text.data(), static_cast<std::size_t>(length));
    }
    va_end(again);
}

} // namespace

void log_line(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    format_line(STDERR_FILENO, format, arguments);
    va_end(arguments);
}

void print_line(const char* format, ...) {
    std::fflush(stdout);
    va_list arguments;
    va_start(arguments, format);
    format_line(STDOUT_FILENO, format, arguments);
    va_end(arguments);
}

bool may_log(LogLimit& limit, std::uint32_t now) {
    const std::uint32_t last = limit.last_ms.load(std::memory_order_relaxed);
    const std::int32_t elapsed = elapsed_ms(now, last); // negative after the clock was set back
    if (limit.used.exchange(true, std::memory_order_relaxed) && elapsed >= 0 && elapsed < 1000)
        return false;
    limit.last_ms.store(now, std::memory_order_relaxed);
    return true;
}

} // namespace fieldrelaybox
