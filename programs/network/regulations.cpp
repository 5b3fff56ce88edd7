#include "network/regulations.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace network {

namespace {

constexpr std::uint32_t magic = 0x52474442; // "RGDB"
constexpr std::uint32_t version = 20;
constexpr std::size_t countries_at = 8;
constexpr std::size_t country_size = 4;        // two characters, where its rules are
constexpr std::size_t shortest_collection = 3; // its length, the number of its rules, radar
constexpr std::size_t rule_size = 16;
constexpr std::uint8_t no_radiation_unasked = 1 << 3;
constexpr std::uint8_t radar_first = 1 << 2;

// Big-endian, nothing beyond the end.
std::optional<std::uint32_t> number_at(std::string_view bytes, std::size_t place,
                                       std::size_t size) {
    if (place > bytes.size() || bytes.size() - place < size)
        return std::nullopt;
    std::uint32_t number = 0;
    for (const char byte : bytes.substr(place, size))
        number = number << 8 | static_cast<std::uint8_t>(byte);
    return number;
}

// Places in the file are counted in words of four bytes.
std::size_t place_of(std::uint32_t pointer) {
    return std::size_t{pointer} * 4;
}

// 0 when there is no such country.
std::size_t rules_of(std::string_view database, std::string_view country) {
    for (std::size_t place = countries_at;; place += country_size) {
        const auto pointer = number_at(database, place + 2, 2);
        if (!pointer || *pointer == 0)
            return 0;
        if (database.substr(place, 2) == country)
            return place_of(*pointer);
    }
}

// Whether the rule at this place lets an access point send there. Frequencies of rules are in kHz.
bool rule_grants(std::string_view database, std::size_t rule, int frequency) {
    const auto flags = number_at(database, rule + 1, 1);
    const auto start = number_at(database, rule + 4, 4);
    const auto end = number_at(database, rule + 8, 4);
    const auto widest = number_at(database, rule + 12, 4);
    if (!flags || !start || !end || !widest || *number_at(database, rule, 1) < rule_size)
        return false;
    const std::uint32_t low = static_cast<std::uint32_t>(frequency - 10) * 1000;
    const std::uint32_t high = static_cast<std::uint32_t>(frequency + 10) * 1000;
    return (*flags & (no_radiation_unasked | radar_first)) == 0 && *start <= low && *end >= high &&
           *widest >= 20'000;
}

} // namespace

int frequency_of(int band, int channel) {
    if (band == 2 && channel >= 1 && channel <= 13)
        return 2407 + 5 * channel;
    const bool low = channel >= 36 && channel <= 48 && channel % 4 == 0;
    const bool high = channel >= 149 && channel <= 165 && channel % 4 == 1;
    return band == 5 && (low || high) ? 5000 + 5 * channel : 0;
}

Permission permission_of(std::string_view database, std::string_view country, int frequency) {
    if (number_at(database, 0, 4) != magic || number_at(database, 4, 4) != version)
        return Permission::unknown;
    const std::size_t rules = rules_of(database, country);
    if (rules == 0)
        return Permission::unknown_country;
    const auto length = number_at(database, rules, 1);
    const auto count = number_at(database, rules + 1, 1);
    if (!length || !count || *length < shortest_collection)
        return Permission::unknown;
    const std::size_t pointers = rules + (*length + *length % 2);
    for (std::size_t i = 0; i < *count; ++i) {
        const auto pointer = number_at(database, pointers + 2 * i, 2);
        if (pointer && rule_grants(database, place_of(*pointer), frequency))
            return Permission::granted;
    }
    return Permission::refused;
}

} // namespace network
