// H.264 as a byte stream: where its units (NAL) begin and what they are. Any bytes are taken.
#pragma once

#include "core/bytes.h"

#include <cstddef>
#include <cstdint>

namespace panel {

inline constexpr std::size_t start_code_size = 3; // 00 00 01

// Where the header byte of the first unit stands that begins behind a start code at or after from;
// the size of stream when there is none.
std::size_t next_unit(fieldrelaybox::Bytes stream, std::size_t from);

// The same for a stream that begins with a start code, and its size for any other.
std::size_t first_unit(fieldrelaybox::Bytes stream);

constexpr unsigned unit_type(std::uint8_t header) {
    return header & 0x1FU;
}

// Whether units of this type carry pixels.
bool is_slice(unsigned type);

// Whether it begins with a unit that can only be the first of an access unit, once a slice of
// another one was seen: delimiter, parameter set, SEI and the like, or a slice of macroblock 0.
bool opens_access_unit(fieldrelaybox::Bytes stream);

// Whether a decoder can begin: an IDR slice with SPS and PPS before it in the same access unit, or
// a recovery point (SEI) with them.
bool is_key_picture(fieldrelaybox::Bytes access_unit);

} // namespace panel
