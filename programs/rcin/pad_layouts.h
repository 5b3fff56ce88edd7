// Which axis or button of a game pad is which channel, and what it says. Channels 1 to 16 are:
// right stick x, y, left stick y, x (up and right are high), left and right trigger (low when
// released), hat x, y, and eight buttons (high when pressed), in the order of the layout.
#pragma once

#include "rcin/frame.h"

#include <array>
#include <cstdint>

struct libevdev;

namespace rcin {

// Numbers of linux/input-event-codes.h; no_code where there is none.
inline constexpr std::uint16_t no_code = 0xFFFF;

enum class Throw : std::uint8_t { centred, inverted, one_way };

struct PadControl {
    std::uint16_t axis;
    Throw direction;
    std::uint16_t high_button; // in place of the axis where the pad has none
    std::uint16_t low_button;  // likewise
};

struct PadLayout {
    std::array<PadControl, receiver_channels> controls;
};

// Whether it has what a game pad or a joystick has: two axes and buttons of one of both.
bool is_pad(const libevdev& device);

// By vendor and product; where it has no row, by its axes.
const PadLayout& layout_of(const libevdev& device);

// False when its stick has never said where it is: the kernel then has zeros, which is a far corner
// where the axes begin at 0.
bool has_reported(const libevdev& device);

// The present state; what the device does not have is absent.
Frame pad_frame(const PadLayout& layout, const libevdev& device);

} // namespace rcin
