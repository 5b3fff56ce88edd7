// Sends the datagrams of one segment.
#pragma once

#include <cstdint>

namespace bench {

struct Pace {
    const char* name;
    std::uint32_t burst;     // datagrams sent back to back
    std::int64_t pause_ns;   // from the start of one burst to the start of the next
    std::uint32_t datagrams; // in one segment
};

// 2,000 datagrams per second. All but the last are so short because the relays take turns with
// them, and whatever else the machine does should hit all alike.
inline constexpr Pace steady{"steady", 1, 500'000, 200};
inline constexpr Pace bursts{"bursts of 33", 33, 16'500'000, 198};
inline constexpr Pace large_bursts{"bursts of 200", 200, 100'000'000, 200};
// Long enough for a relay that cannot keep up to lose datagrams.
inline constexpr Pace sustained{"sustained", 1, 500'000, 10'000};

// To 127.0.0.1:port.
void send_segment(std::uint16_t port, std::uint32_t segment, const Pace& pace);

} // namespace bench
