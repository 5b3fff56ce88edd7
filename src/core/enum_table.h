// Tables with one row for each value of an enumeration, written in any order. The values are
// 0, 1, 2 and so on.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

namespace fieldrelaybox {

// For compile-time checks: no value is missing and none is there twice.
template<class Row, std::size_t Count, class Key>
constexpr bool names_each_once(const std::array<Row, Count>& rows, Key Row::*key) {
    for (std::size_t value = 0; value < Count; ++value) {
        if (std::count_if(rows.begin(), rows.end(), [value, key](const Row& row) {
                return static_cast<std::size_t>(row.*key) == value;
            }) != 1)
            return false;
    }
    return true;
}

// The same rows in the order of their values, so that a value finds its row by its number.
template<class Row, std::size_t Count, class Key>
constexpr std::array<Row, Count> in_order_of(const std::array<Row, Count>& rows, Key Row::*key) {
    std::array<Row, Count> ordered{};
    for (const Row& row : rows)
        ordered[static_cast<std::size_t>(row.*key)] = row;
    return ordered;
}

} // namespace fieldrelaybox
