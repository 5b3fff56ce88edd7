#include "rcin/ibus.h"

#include <numeric>

namespace rcin {
namespace {

using fieldrelaybox::Bytes;

// Length, command, channels, checksum; all words are little-endian.
constexpr std::size_t ibus_size = 0x20;
constexpr std::uint8_t channels_command = 0x40;
constexpr std::size_t ibus_channels_offset = 2;
constexpr std::size_t ibus_channels = 14;
constexpr std::size_t ibus_checksum = 30;
static_assert(ibus_checksum == ibus_channels_offset + 2 * ibus_channels);

constexpr unsigned value_bits = 0x0FFF; // some senders have more channels in the bits above

std::size_t ibus_length(Bytes begin) {
    const bool fits = begin[0] == ibus_size && (begin.size() == 1 || begin[1] == channels_command);
    return fits ? ibus_size : 0;
}

bool is_ibus_frame(Bytes frame) {
    if (frame.size() != ibus_size || ibus_length(frame) != ibus_size)
        return false;
    const Bytes summed = frame.first(ibus_checksum);
    const unsigned sum = std::accumulate(summed.begin(), summed.end(), 0U);
    return fieldrelaybox::get_u16le(&frame[ibus_checksum]) == 0xFFFF - sum;
}

std::optional<Frame> decode_ibus(Bytes bytes) {
    if (!is_ibus_frame(bytes))
        return std::nullopt;
    Frame frame;
    for (std::size_t i = 0; i < ibus_channels; ++i) {
        const unsigned word = fieldrelaybox::get_u16le(&bytes[ibus_channels_offset + 2 * i]);
        frame.channels_us.at(i) = static_cast<std::uint16_t>(word & value_bits);
    }
    return frame;
}

} // namespace

const SerialProtocol ibus_protocol{ibus_length, is_ibus_frame, decode_ibus, nullptr};

} // namespace rcin
