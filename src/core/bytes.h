// Byte coding of wire formats. Everything on the wire is little-endian.
#pragma once

#include <cstdint>
#include <cstring>
#include <span>

namespace fieldrelaybox {

using Bytes = std::span<const std::uint8_t>;

constexpr void put_u16le(std::uint8_t* out, std::uint16_t value) {
    out[0] = static_cast<std::uint8_t>(value & 0xFF);
    out[1] = static_cast<std::uint8_t>(value >> 8);
}

constexpr void put_i16le(std::uint8_t* out, std::int16_t value) {
    put_u16le(out, static_cast<std::uint16_t>(value));
}

constexpr void put_u32le(std::uint8_t* out, std::uint32_t value) {
    put_u16le(out, static_cast<std::uint16_t>(value & 0xFFFF));
    put_u16le(out + 2, static_cast<std::uint16_t>(value >> 16));
}

inline void put_f32le(std::uint8_t* out, float value) {
    std::uint32_t bits = 0;
    static_assert(sizeof bits == sizeof value);
    std::memcpy(&bits, &value, sizeof bits);
    put_u32le(out, bits);
}

constexpr std::uint16_t get_u16le(const std::uint8_t* in) {
    return static_cast<std::uint16_t>(in[0] | in[1] << 8);
}

constexpr std::int16_t get_i16le(const std::uint8_t* in) {
    return static_cast<std::int16_t>(get_u16le(in));
}

constexpr std::uint32_t get_u32le(const std::uint8_t* in) {
    return get_u16le(in) | static_cast<std::uint32_t>(get_u16le(in + 2)) << 16;
}

inline float get_f32le(const std::uint8_t* in) {
    const std::uint32_t bits = get_u32le(in);
    float value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

} // namespace fieldrelaybox
