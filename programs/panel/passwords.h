// The password of the panel: a salted hash in a file.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace panel {

inline constexpr std::size_t shortest_password = 8;
inline constexpr std::size_t longest_password = 256;

// Writes the hash into the file (mode 0600, in place of the old one at once); false, told on
// standard error, when the password is too short or too long or the file cannot be written.
bool store_password(const std::string& file, std::string_view password);

// The hash in the file; empty, told on standard error, when there is none that can be read.
std::string read_password_hash(const std::string& file);

// Takes some 50 ms on a small board, on purpose.
bool is_password(const std::string& hash, std::string_view password);

// Takes as long whatever differs.
bool is_same_text(std::string_view a, std::string_view b);

} // namespace panel
