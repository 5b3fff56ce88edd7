#include "rcin/pad_layouts.h"

#include <algorithm>
#include <cstdlib>
#include <libevdev/libevdev.h>
#include <linux/input-event-codes.h>

namespace rcin {

namespace {

constexpr std::array<unsigned, 2> stick_axes{ABS_X, ABS_Y};

constexpr int low_us = 1000;
constexpr int centre_us = 1500;
constexpr int high_us = 2000;

constexpr PadControl stick(std::uint16_t axis) {
    return {axis, Throw::centred, no_code, no_code};
}

// Pads count downwards.
constexpr PadControl stick_y(std::uint16_t axis) {
    return {axis, Throw::inverted, no_code, no_code};
}

constexpr PadControl trigger(std::uint16_t axis, std::uint16_t button) {
    return {axis, Throw::one_way, button, no_code};
}

constexpr PadControl button(std::uint16_t code) {
    return {no_code, Throw::one_way, code, no_code};
}

constexpr PadControl hat_x{ABS_HAT0X, Throw::centred, BTN_DPAD_RIGHT, BTN_DPAD_LEFT};
constexpr PadControl hat_y{ABS_HAT0Y, Throw::inverted, BTN_DPAD_UP, BTN_DPAD_DOWN};

// What the kernel's own drivers for pads keep to.
constexpr PadLayout game_pad{
    {{stick(ABS_RX), stick_y(ABS_RY), stick_y(ABS_Y), stick(ABS_X), trigger(ABS_Z, BTN_TL2),
      trigger(ABS_RZ, BTN_TR2), hat_x, hat_y, button(BTN_SOUTH), button(BTN_EAST),
      button(BTN_NORTH), button(BTN_WEST), button(BTN_TL), button(BTN_TR), button(BTN_SELECT),
      button(BTN_START)}}};

// Pads without a driver of their own in the kernel, mostly over Bluetooth: accelerator and brake
// for the triggers.
constexpr PadLayout pedals{
    {{stick(ABS_Z), stick_y(ABS_RZ), stick_y(ABS_Y), stick(ABS_X), trigger(ABS_BRAKE, BTN_TL2),
      trigger(ABS_GAS, BTN_TR2), hat_x, hat_y, button(BTN_SOUTH), button(BTN_EAST),
      button(BTN_NORTH), button(BTN_WEST), button(BTN_TL), button(BTN_TR), button(BTN_SELECT),
      button(BTN_START)}}};

// Pads with two sticks that say they are joysticks; buttons by their numbers, from 1 on: four on
// the right, two and two in front, two in the middle.
constexpr PadLayout joystick_pad{
    {{stick(ABS_Z), stick_y(ABS_RZ), stick_y(ABS_Y), stick(ABS_X), trigger(no_code, BTN_BASE),
      trigger(no_code, BTN_BASE2), hat_x, hat_y, button(BTN_THUMB), button(BTN_THUMB2),
      button(BTN_TRIGGER), button(BTN_TOP), button(BTN_TOP2), button(BTN_PINKIE), button(BTN_BASE3),
      button(BTN_BASE4)}}};

// One stick that also turns, with a lever for the thrust.
constexpr PadLayout joystick{
    {{stick(ABS_X), stick_y(ABS_Y), stick_y(ABS_THROTTLE), stick(ABS_RZ), button(no_code),
      button(no_code), hat_x, hat_y, button(BTN_TRIGGER), button(BTN_THUMB), button(BTN_THUMB2),
      button(BTN_TOP), button(BTN_TOP2), button(BTN_PINKIE), button(BTN_BASE), button(BTN_BASE2)}}};

// RC transmitters on USB, and what else has many axes: the axes in their order.
constexpr PadLayout transmitter{
    {{stick(ABS_X), stick(ABS_Y), stick(ABS_Z), stick(ABS_RX), stick(ABS_RY), stick(ABS_RZ),
      stick(ABS_THROTTLE), stick(ABS_RUDDER), button(BTN_TRIGGER), button(BTN_THUMB),
      button(BTN_THUMB2), button(BTN_TOP), button(BTN_TOP2), button(BTN_PINKIE), button(BTN_BASE),
      button(BTN_BASE2)}}};

struct KnownPad {
    int vendor;
    int product;
    const PadLayout* layout;
};

constexpr std::array known_pads{
    KnownPad{0x045E, 0x02FD, &pedals},       // over Bluetooth
    KnownPad{0x045E, 0x0B13, &pedals},       // its successor, likewise
    KnownPad{0x046D, 0xC216, &joystick_pad}, // with its switch at D
    KnownPad{0x046D, 0xC218, &joystick_pad},
    KnownPad{0x046D, 0xC219, &joystick_pad}, // without a cable, switch at D
    KnownPad{0x1209, 0x4F54, &transmitter},
};

bool has_axis(const libevdev& device, unsigned code) {
    return code != no_code && libevdev_has_event_code(&device, EV_ABS, code) == 1;
}

bool has_button(const libevdev& device, unsigned code) {
    return code != no_code && libevdev_has_event_code(&device, EV_KEY, code) == 1;
}

// How far it is beyond the dead band, of full where it reaches the end.
std::int64_t beyond(std::int64_t distance, std::int64_t dead, std::int64_t reach,
                    std::int64_t full) {
    if (distance <= dead)
        return 0;
    return std::min(full, (distance - dead) * full / std::max<std::int64_t>(1, reach - dead));
}

// Twice the axis' unit, so that a centre between two values is one.
std::uint16_t axis_us(const input_absinfo& axis, Throw direction) {
    const std::int64_t range = std::int64_t{axis.maximum} - axis.minimum;
    const std::int64_t flat = std::max(0, axis.flat);
    if (range <= 0)
        return absent;
    if (direction == Throw::one_way)
        return static_cast<std::uint16_t>(low_us + beyond(std::int64_t{axis.value} - axis.minimum,
                                                          flat, range, high_us - low_us));
    const std::int64_t from_centre = 2 * std::int64_t{axis.value} - axis.minimum - axis.maximum;
    const std::int64_t deflection =
        beyond(std::abs(from_centre), 2 * flat, range, high_us - centre_us);
    const bool up = (from_centre > 0) != (direction == Throw::inverted);
    return static_cast<std::uint16_t>(up ? centre_us + deflection : centre_us - deflection);
}

bool is_pressed(const libevdev& device, std::uint16_t code) {
    return has_button(device, code) && libevdev_get_event_value(&device, EV_KEY, code) != 0;
}

std::uint16_t buttons_us(const libevdev& device, const PadControl& control) {
    const int rest_us = control.low_button == no_code ? low_us : centre_us;
    const int up_us = is_pressed(device, control.high_button) ? high_us - rest_us : 0;
    const int down_us = is_pressed(device, control.low_button) ? rest_us - low_us : 0;
    return static_cast<std::uint16_t>(rest_us + up_us - down_us);
}

std::uint16_t control_us(const libevdev& device, const PadControl& control) {
    if (has_axis(device, control.axis))
        return axis_us(*libevdev_get_abs_info(&device, control.axis), control.direction);
    return has_button(device, control.high_button) ? buttons_us(device, control) : absent;
}

} // namespace

bool is_pad(const libevdev& device) {
    bool buttons = false;
    for (unsigned code = BTN_JOYSTICK; code < BTN_DIGI; ++code)
        buttons = buttons || has_button(device, code);
    return buttons && has_axis(device, ABS_X) && has_axis(device, ABS_Y);
}

const PadLayout& layout_of(const libevdev& device) {
    const auto* const known =
        std::find_if(known_pads.begin(), known_pads.end(), [&device](const KnownPad& pad) {
            return pad.vendor == libevdev_get_id_vendor(&device) &&
                   pad.product == libevdev_get_id_product(&device);
        });
    if (known != known_pads.end())
        return *known->layout;
    if (has_button(device, BTN_GAMEPAD))
        return has_axis(device, ABS_RX) ? game_pad : pedals;
    if (has_axis(device, ABS_RX))
        return transmitter;
    const bool has_two_sticks = has_axis(device, ABS_Z) && has_axis(device, ABS_RZ);
    return has_two_sticks && !has_axis(device, ABS_THROTTLE) ? joystick_pad : joystick;
}

bool has_reported(const libevdev& device) {
    return std::any_of(stick_axes.begin(), stick_axes.end(), [&device](unsigned axis) {
        return libevdev_get_abs_minimum(&device, axis) < 0 ||
               libevdev_get_event_value(&device, EV_ABS, axis) != 0;
    });
}

Frame pad_frame(const PadLayout& layout, const libevdev& device) {
    Frame frame;
    std::transform(layout.controls.begin(), layout.controls.end(), frame.channels_us.begin(),
                   [&device](const PadControl& control) { return control_us(device, control); });
    return frame;
}

} // namespace rcin
