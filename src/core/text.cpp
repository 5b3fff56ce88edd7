#include "core/text.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace fieldrelaybox {

void copy_text(char* field, std::size_t capacity, std::string_view text) {
    const std::size_t length = std::min(text.size(), capacity - 1);
    if (length > 0)
        std::memmove(field, text.data(), length);
    std::memset(field + length, 0, capacity - length);
}

std::string_view text_of(const char* field, std::size_t capacity) {
    return {field, strnlen(field, capacity)};
}

std::string_view take_item(std::string_view& list, char separator) {
    const std::string_view item = list.substr(0, list.find(separator));
    list.remove_prefix(std::min(list.size(), item.size() + 1));
    return item;
}

std::int32_t parse_decimal(const char* text) {
    const long long value = std::strtoll(text, nullptr, 10);
    constexpr long long low = std::numeric_limits<std::int32_t>::min();
    constexpr long long high = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(std::clamp(value, low, high));
}

bool is_true(std::string_view value) {
    return value == "1" || value == "true";
}

bool is_shell_safe_name(std::string_view name) {
    const auto safe = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '.' || c == '_' || c == '-';
    };
    return !name.empty() && name.front() != '-' && std::all_of(name.begin(), name.end(), safe);
}

} // namespace fieldrelaybox
