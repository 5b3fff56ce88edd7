// How numbers from outside go into fields of a fixed width.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace fieldrelaybox {

// The low bits of an integer, as many as fit.
constexpr std::uint8_t low_byte(std::int64_t value) {
    return static_cast<std::uint8_t>(value & 0xFF);
}

constexpr std::uint16_t low_word(std::int64_t value) {
    return static_cast<std::uint16_t>(value & 0xFFFF);
}

// value cut towards zero and limited to low..high; low for what is not a number.
template<class Float>
constexpr std::int32_t limit_to_integer(Float value, std::int32_t low, std::int32_t high) {
    if (!(value > static_cast<Float>(low)))
        return low;
    return value >= static_cast<Float>(high) ? high : static_cast<std::int32_t>(value);
}

inline std::int32_t limit_to_int32(double value) {
    return limit_to_integer(value, std::numeric_limits<std::int32_t>::min(),
                            std::numeric_limits<std::int32_t>::max());
}

// Single precision; infinity for what is too large.
inline float to_float(double value) {
    if (std::abs(value) > static_cast<double>(std::numeric_limits<float>::max()))
        return std::copysign(std::numeric_limits<float>::infinity(), value < 0 ? -1.0F : 1.0F);
    return static_cast<float>(value);
}

} // namespace fieldrelaybox
