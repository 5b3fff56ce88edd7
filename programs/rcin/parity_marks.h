// How the terminal driver marks damaged bytes (PARMRK): 255 and 0 before such a byte, 255 twice for
// a good one of that value.
#pragma once

#include <cstdint>
#include <variant>

namespace rcin {

enum class MarkPlace : std::uint8_t { outside, after_255, at_damaged };

struct NothingYet {};
struct DamagedByte {};

// What the next byte that was read says; place goes along from one to the next.
constexpr std::variant<std::uint8_t, NothingYet, DamagedByte> unmark(MarkPlace& place,
                                                                     std::uint8_t byte) {
    switch (place) {
    case MarkPlace::outside:
        if (byte != 255)
            return byte;
        place = MarkPlace::after_255;
        return NothingYet{};
    case MarkPlace::after_255:
        place = byte == 255 ? MarkPlace::outside : MarkPlace::at_damaged;
        if (byte != 255)
            return NothingYet{};
        return byte;
    case MarkPlace::at_damaged:
        break;
    }
    place = MarkPlace::outside;
    return DamagedByte{};
}

} // namespace rcin
