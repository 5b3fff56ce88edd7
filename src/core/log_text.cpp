#include "core/log_text.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace fieldrelaybox {

namespace {

// The smallest character that takes so many bytes; of two bytes, the first behind the C1 controls.
constexpr std::array<std::uint32_t, 5> smallest_of_size{0, 0, 0xA0, 0x800, 0x10000};
constexpr std::uint32_t largest_character = 0x10FFFF;

constexpr bool is_surrogate(std::uint32_t character) {
    return character >= 0xD800 && character <= 0xDFFF;
}

constexpr std::size_t utf8_size(std::uint8_t first) {
    if (first < 0xC2 || first > 0xF4)
        return 0;
    return first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
}

// Bytes of the UTF-8 character beyond ASCII at the start of text; 0 when there is none to be shown.
std::size_t size_beyond_ascii(std::string_view text) {
    const std::size_t size = utf8_size(static_cast<std::uint8_t>(text[0]));
    if (size == 0 || text.size() < size)
        return 0;
    std::uint32_t character = static_cast<std::uint8_t>(text[0]) & (0x7FU >> size);
    for (const char byte : text.substr(1, size - 1)) {
        if ((byte & 0xC0) != 0x80)
            return 0;
        character = character << 6 | (static_cast<std::uint8_t>(byte) & 0x3FU);
    }
    return character >= smallest_of_size[size] && character <= largest_character &&
                   !is_surrogate(character)
               ? size
               : 0;
}

// Bytes of the character at the start of text that can be shown as it is, or 0.
std::size_t size_as_it_is(std::string_view text) {
    const auto first = static_cast<std::uint8_t>(text[0]);
    if (first >= 0x80)
        return size_beyond_ascii(text);
    return first >= 0x20 && first != 0x7F ? 1 : 0;
}

std::array<char, 4> escape(char byte) {
    constexpr std::string_view digits = "0123456789abcdef";
    const auto value = static_cast<std::uint8_t>(byte);
    return {'\\', 'x', digits[value >> 4], digits[value & 0xF]};
}

} // namespace

ShownText show_text(std::string_view text, std::span<char> line) {
    ShownText done{0, 0};
    while (done.read < text.size()) {
        const std::string_view rest = text.substr(done.read);
        const std::size_t size = size_as_it_is(rest);
        const std::array<char, 4> escaped = escape(rest[0]);
        const std::string_view shown =
            size == 0 ? std::string_view(escaped.data(), escaped.size()) : rest.substr(0, size);
        if (shown.size() > line.size() - done.written)
            break;
        std::ranges::copy(shown, line.data() + done.written);
        done.written += shown.size();
        done.read += std::max<std::size_t>(size, 1);
    }
    return done;
}

std::string shown_text(std::string_view text) {
    std::string line(text.size() * escape(0).size(), '\0');
    line.resize(show_text(text, line).written);
    return line;
}

} // namespace fieldrelaybox
