#include "panel/h264_units.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace panel {
namespace {

using fieldrelaybox::Bytes;

enum UnitType : unsigned {
    plain_slice = 1,
    partition_a = 2,
    idr_slice = 5,
    sei = 6,
    sps = 7,
    pps = 8
};

// By type, 0 to 31.
constexpr std::uint32_t slice_types = 1U << plain_slice | 1U << partition_a | 1U << idr_slice;
constexpr std::uint32_t opening_types = 0x1FU << 14 | 0xFU << 6; // 6 to 9 and 14 to 18

constexpr std::uint8_t first_macroblock_is_0 = 0x80; // the number 0 is coded as a single 1
constexpr unsigned recovery_point = 6;

// The content of a unit without the bytes that keep start codes out of it.
struct Content {
    Bytes rest;
    int zeros = 0;
};

std::optional<std::uint8_t> next_byte(Content& content) {
    if (content.zeros >= 2 && !content.rest.empty() && content.rest[0] == 3) {
        content.rest = content.rest.subspan(1);
        content.zeros = 0;
    }
    if (content.rest.empty())
        return std::nullopt;
    const std::uint8_t byte = content.rest[0];
    content.zeros = byte == 0 ? content.zeros + 1 : 0;
    content.rest = content.rest.subspan(1);
    return byte;
}

// Of any size: each 255 adds to what follows.
std::optional<std::size_t> next_number(Content& content) {
    std::size_t number = 0;
    for (;;) {
        const auto byte = next_byte(content);
        if (!byte)
            return std::nullopt;
        number += *byte;
        if (*byte != 255)
            return number;
    }
}

bool skip(Content& content, std::size_t count) {
    while (count > 0 && next_byte(content))
        --count;
    return count == 0;
}

// The start code of the next unit may be behind it: it reads as a message of no such type.
bool has_recovery_point(Bytes unit) {
    Content content{unit};
    for (;;) {
        const auto type = next_number(content);
        const auto size = next_number(content);
        if (!type || !size)
            return false;
        if (*type == recovery_point)
            return true;
        if (!skip(content, *size))
            return false;
    }
}

} // namespace

std::size_t next_unit(Bytes stream, std::size_t from) {
    // A byte above 1 is in no start code, so the next one ends 3 bytes behind it at the earliest.
    for (std::size_t one = from + 2; one<stream.size(); one += stream[one]> 1 ? 3 : 1)
        if (stream[one] == 1 && stream[one - 1] == 0 && stream[one - 2] == 0)
            return one + 1;
    return stream.size();
}

std::size_t first_unit(Bytes stream) {
    const auto one = std::ranges::find_if(stream, [](std::uint8_t byte) { return byte != 0; });
    const auto zeros = static_cast<std::size_t>(one - stream.begin());
    return zeros >= 2 && one != stream.end() && *one == 1 ? zeros + 1 : stream.size();
}

bool is_slice(unsigned type) {
    return (slice_types >> type & 1U) != 0;
}

bool opens_access_unit(Bytes stream) {
    const std::size_t at = first_unit(stream);
    if (at >= stream.size())
        return false;
    const unsigned type = unit_type(stream[at]);
    if (is_slice(type))
        return at + 1 < stream.size() && (stream[at + 1] & first_macroblock_is_0) != 0;
    return (opening_types >> type & 1U) != 0;
}

bool is_key_picture(Bytes access_unit) {
    std::uint32_t seen = 0;
    bool can_recover = false;
    constexpr std::uint32_t both_sets = 1U << sps | 1U << pps;
    std::size_t next = next_unit(access_unit, 0);
    while (next < access_unit.size()) {
        const std::size_t at = std::exchange(next, next_unit(access_unit, next));
        const unsigned type = unit_type(access_unit[at]);
        if (is_slice(type))
            return (seen & both_sets) == both_sets && (type == idr_slice || can_recover);
        seen |= 1U << type;
        if (type == sei)
            can_recover =
                can_recover || has_recovery_point(access_unit.subspan(at + 1, next - at - 1));
    }
    return false;
}

} // namespace panel
