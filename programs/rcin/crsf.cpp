#include "rcin/crsf.h"

#include "rcin/channel_bits.h"

#include <array>

namespace rcin {
namespace {

using fieldrelaybox::Bytes;

// Sync, length of what follows it, type, payload, CRC of type and payload.
constexpr std::size_t crsf_type = 2;
constexpr std::size_t crsf_payload = 3;
constexpr std::size_t crsf_overhead = 2; // sync and length
constexpr std::size_t crsf_crc_size = 1;
constexpr std::uint8_t shortest_rest = 2;
constexpr std::uint8_t longest_rest = 62;
static_assert(crsf_overhead + longest_rest == longest_serial_frame);

constexpr std::uint8_t channels_type = 0x16;
constexpr std::size_t channels_frame_size = crsf_payload + packed_channels_size + crsf_crc_size;

// A frame begins with whom it is for; some receivers write to all instead.
constexpr std::array<std::uint8_t, 12> device_addresses{
    0xC8, // flight controller, the usual one
    0x00, // all
    0x10, // USB
    0x12, // Bluetooth
    0x80, // picture overlay
    0xC0, // current sensor
    0xC2, // satellite receiver
    0xC4, // recorder
    0xCC, // race tag
    0xEA, // transmitter in the hand
    0xEC, // receiver
    0xEE, // transmitter module
};

// Looked up at every byte, many times while there is garbage.
constexpr std::array<bool, 256> mark_addresses() {
    std::array<bool, 256> table{};
    for (const std::uint8_t address : device_addresses)
        table.at(address) = true;
    return table;
}

constexpr std::array<bool, 256> is_address = mark_addresses();

constexpr unsigned crc_polynomial = 0xD5; // DVB-S2's

constexpr std::array<std::uint8_t, 256> make_crc_table() {
    std::array<std::uint8_t, 256> table{};
    for (unsigned i = 0; i < table.size(); ++i) {
        unsigned crc = i;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc << 1) ^ ((crc & 0x80) != 0 ? crc_polynomial : 0);
        table.at(i) = static_cast<std::uint8_t>(crc & 0xFF);
    }
    return table;
}

constexpr std::array<std::uint8_t, 256> crc_table = make_crc_table();

std::uint8_t crc_of(Bytes bytes) {
    std::uint8_t crc = 0;
    for (const std::uint8_t byte : bytes)
        crc = crc_table.at(crc ^ byte);
    return crc;
}

std::size_t crsf_length(Bytes begin) {
    if (!is_address[begin[0]])
        return 0;
    if (begin.size() < crsf_overhead)
        return crsf_overhead;
    const std::uint8_t rest = begin[1];
    return rest < shortest_rest || rest > longest_rest ? 0 : crsf_overhead + rest;
}

bool is_crsf_frame(Bytes frame) {
    return frame.size() > crsf_payload && crsf_length(frame) == frame.size() &&
           crc_of(frame.subspan(crsf_type, frame.size() - crsf_payload)) == frame.back();
}

// Link statistics and all else tell nothing of the sticks.
std::optional<Frame> decode_crsf(Bytes bytes) {
    if (bytes.size() != channels_frame_size || bytes[crsf_type] != channels_type ||
        !is_crsf_frame(bytes))
        return std::nullopt;
    return Frame{.channels_us = unpack_channels(bytes.subspan(crsf_payload))};
}

} // namespace

const SerialProtocol crsf_protocol{crsf_length, is_crsf_frame, decode_crsf, nullptr};

} // namespace rcin
