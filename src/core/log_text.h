// How text from outside looks in a line of the log: it can neither make a line nor an escape
// sequence of its own. Entered by the log and by answers on standard output.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace fieldrelaybox {

// What was read of a text, and what was written of its shown form, in bytes.
struct ShownText {
    std::size_t read;
    std::size_t written;
};

// Writes as many whole characters of text to line as fit. Control characters, those of C1 as well,
// and bytes that are no UTF-8 are shown as \xNN; all others stay.
ShownText show_text(std::string_view text, std::span<char> line);

// The same for a whole text.
std::string shown_text(std::string_view text);

} // namespace fieldrelaybox
