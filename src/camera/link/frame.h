// The camera's packet format: frames, their two checks, and templates made at compile time.
//
//   0     start byte 0x55            6-7   sequence number
//   1     length, low 8 bits         8     command type
//   2     0x04 (version 1, length    9     command set
//         bits 8-9)                  10    command id
//   3     header check, CRC-8        11... payload
//   4     sender    5  receiver      last 2 bytes: frame check, CRC-16, low byte first
#pragma once

#include "core/bytes.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace fieldrelaybox {

inline constexpr std::size_t frame_header_size = 11;
inline constexpr std::size_t frame_check_size = 2;
inline constexpr std::uint8_t frame_start = 0x55;
inline constexpr std::uint8_t frame_version = 0x04;

// Reflected CRC-8, polynomial 0x31, initial value 0x77.
constexpr std::uint8_t header_check(Bytes bytes) {
    std::uint8_t crc = 0x77;
    for (const std::uint8_t byte : bytes) {
        crc = static_cast<std::uint8_t>(crc ^ byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = static_cast<std::uint8_t>((crc & 1) != 0 ? crc >> 1 ^ 0x8C : crc >> 1);
    }
    return crc;
}

namespace detail {

// Table of the reflected CCITT polynomial 0x1021.
constexpr std::array<std::uint16_t, 256> make_frame_check_table() {
    std::array<std::uint16_t, 256> table{};
    for (unsigned i = 0; i < table.size(); ++i) {
        unsigned crc = i;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1) != 0 ? crc >> 1 ^ 0x8408 : crc >> 1;
        table[i] = static_cast<std::uint16_t>(crc);
    }
    return table;
}

inline constexpr std::array<std::uint16_t, 256> frame_check_table = make_frame_check_table();
static_assert(frame_check_table[1] == 0x1189 && frame_check_table[2] == 0x2312);

} // namespace detail

inline constexpr std::uint16_t frame_check_start = 0x3692;

// CRC-16 over bytes; of nothing it is the initial value.
constexpr std::uint16_t frame_check(Bytes bytes) {
    std::uint16_t crc = frame_check_start;
    for (const std::uint8_t byte : bytes)
        crc = static_cast<std::uint16_t>(detail::frame_check_table[(crc ^ byte) & 0xFF] ^ crc >> 8);
    return crc;
}

// Who a frame goes to and what it says.
struct FrameCommand {
    std::uint8_t receiver;
    std::uint8_t set;
    std::uint8_t id;
    std::uint8_t sender = 0x02;
    std::uint8_t type = 0x40;
};

// A whole frame with room for its check; the sequence number and the check are stamped when it is
// sent.
template<std::size_t PayloadSize>
using Frame = std::array<std::uint8_t, frame_header_size + PayloadSize + frame_check_size>;

template<std::size_t PayloadSize>
constexpr Frame<PayloadSize> make_frame(const FrameCommand& command,
                                        const std::array<std::uint8_t, PayloadSize>& payload) {
    Frame<PayloadSize> frame{};
    static_assert(frame.size() < 256);
    frame[0] = frame_start;
    frame[1] = static_cast<std::uint8_t>(frame.size());
    frame[2] = frame_version;
    frame[3] = header_check(Bytes(frame).first(3));
    frame[4] = command.sender;
    frame[5] = command.receiver;
    frame[8] = command.type;
    frame[9] = command.set;
    frame[10] = command.id;
    for (std::size_t i = 0; i < PayloadSize; ++i)
        frame[frame_header_size + i] = payload[i];
    return frame;
}

// make_frame with the payload written as numbers: make_frame_of(command, 0x01, 0x48, ...).
template<class... Payload>
constexpr Frame<sizeof...(Payload)> make_frame_of(const FrameCommand& command, Payload... payload) {
    return make_frame(command, std::array<std::uint8_t, sizeof...(Payload)>{
                                   static_cast<std::uint8_t>(payload)...});
}

static_assert(make_frame(FrameCommand{1, 2, 0x10}, std::array<std::uint8_t, 0>{})[3] == 0x33);
static_assert(make_frame_of(FrameCommand{1, 2, 0x10}, 0)[3] == 0x66);

} // namespace fieldrelaybox
