// The words that settings have for what a receiver speaks, and which device each of the two
// receivers gets for it.
#pragma once

#include "rcin/calibration_file.h"
#include "rcin/devices.h"
#include "rcin/input.h"

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace rcin {

inline constexpr std::size_t receiver_count = 2;

// What a receiver is read from.
struct Wiring {
    Opened (*open)(const std::string& device) = nullptr; // null: the receiver is off
    std::string device;
    std::string fault; // why it is off though its setting says otherwise; else empty
};

bool is_mode(std::string_view word);

// RC1's, then RC2's. Both words are modes.
std::array<Wiring, receiver_count> wire_receivers(const Modes& modes, const Devices& devices);

} // namespace rcin
