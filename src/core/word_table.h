// Tables whose rows are found by a word.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace fieldrelaybox {

// A word and the byte that stands for it on the wire.
struct WordCode {
    std::string_view word;
    std::uint8_t code;
};

// The row whose word is word, or null.
template<class Row, std::size_t Count>
constexpr const Row* find_word(const std::array<Row, Count>& table, std::string_view word) {
    const auto* found = std::find_if(table.data(), table.data() + Count,
                                     [word](const Row& row) { return row.word == word; });
    return found == table.data() + Count ? nullptr : found;
}

// For compile-time checks: no row's word is empty or that of another row.
template<class Row, std::size_t Count>
constexpr bool has_unique_words(const std::array<Row, Count>& table) {
    return std::all_of(table.begin(), table.end(), [&table](const Row& row) {
        return !row.word.empty() && find_word(table, row.word) == &row;
    });
}

} // namespace fieldrelaybox
