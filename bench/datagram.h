// The numbered, time-stamped datagrams. Every byte behind the stamp follows from the number.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace bench {

inline constexpr std::size_t datagram_size = 1300;
inline constexpr std::size_t app_header_size = 12;

struct Stamp {
    std::uint32_t segment; // which measurement it belongs to
    std::uint32_t number;  // 0, 1, 2, ... in the segment
    std::int64_t sent_ns;  // real-time clock
};

using Datagram = std::array<std::uint8_t, datagram_size>;

void write_datagram(Datagram& datagram, const Stamp& stamp);

// False when any byte differs from what write_datagram made, but for the stamp itself.
bool read_datagram(std::span<const std::uint8_t> bytes, Stamp& stamp);

} // namespace bench
