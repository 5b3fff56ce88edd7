// Pipelines as gst-launch-1.0 takes them: one argument a word.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace stream {

using Words = std::vector<std::string>;

// The words of text, which stand apart by blanks. Only for texts of the launcher's own.
Words words_of(std::string_view text);

// A property whose value may hold anything: quoted, so that it stays one value.
std::string property(std::string_view name, std::string_view value);

// One behind the other.
Words joined(std::initializer_list<Words> parts);

// word as a shell takes it back, whatever it holds.
std::string shell_word(std::string_view word);

} // namespace stream
