// Bounded texts and numbers as the settings file and the JSON commands carry them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace fieldrelaybox {

// Copies text into field, cut to capacity - 1 characters, and clears the rest of the field.
void copy_text(char* field, std::size_t capacity, std::string_view text);

template<std::size_t Capacity> void copy_text(char (&field)[Capacity], std::string_view text) {
    copy_text(field, Capacity, text);
}

// The text of a NUL-terminated field; a field without NUL is read to its end.
std::string_view text_of(const char* field, std::size_t capacity);

template<std::size_t Capacity> std::string_view text_of(const char (&field)[Capacity]) {
    return text_of(field, Capacity);
}

// Cuts the text up to the next separator from the front of list.
std::string_view take_item(std::string_view& list, char separator);

// Base-10 number at the start of text, after blanks and an optional sign. No digits give 0; values
// outside the range give the nearest end of it, on 32-bit and 64-bit machines alike.
std::int32_t parse_decimal(const char* text);

// A switch of an app is on for exactly "1" and "true".
bool is_true(std::string_view value);

// True when name is not empty, has only letters, digits, '.', '_' and '-', and does not start with
// '-': safe as one word of a shell command.
bool is_shell_safe_name(std::string_view name);

} // namespace fieldrelaybox
