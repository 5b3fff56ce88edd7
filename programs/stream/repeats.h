// Causes that come again and again, and what of them is told. Times: milliseconds of the timer
// clock. Entered by the launcher before it writes to the log.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace stream {

// The last cause that was told.
struct Told {
    std::string cause;
    std::int64_t told_ms = 0;
    unsigned untold = 0;          // times that it came since
    bool awaits_recovery = false; // it stopped the program, and nothing was told since
};

// The line to log for cause and what follows from it; nothing when the same was told within the
// last minute.
std::optional<std::string> line_for(Told& told, std::int64_t now, const std::string& cause,
                                    const std::string& consequence);

// From when on a program that was started at started_ms counts as recovered; nothing when nobody
// was told that it had to.
std::optional<std::int64_t> recovery_ms(const Told& told, std::int64_t started_ms);

} // namespace stream
