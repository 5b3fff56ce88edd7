// Button frames: what the grip's buttons would send. The trigger device takes them; a few go to the
// camera or the gimbal instead.
#pragma once

#include "camera/link/stored_frame.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace fieldrelaybox {

using ButtonPayload = std::array<std::uint8_t, 10>;
using ButtonFrame = Frame<std::tuple_size_v<ButtonPayload>>;

// Completes a payload: byte 9 is the XOR of bytes 0-8.
constexpr ButtonPayload with_button_check(ButtonPayload payload) {
    payload[9] = 0;
    for (std::size_t i = 0; i < 9; ++i)
        payload[9] = static_cast<std::uint8_t>(payload[9] ^ payload[i]);
    return payload;
}

// The bytes of a button payload that differ between buttons; byte 5 is 0x91 and the rest 0.
struct Button {
    std::uint8_t bits = 0;   // byte 0: which buttons are down
    std::uint8_t action = 0; // byte 4
    std::uint8_t count = 0;  // byte 7: count or step of the shot
    std::uint8_t kind = 0;   // byte 8
};

constexpr ButtonPayload button_payload(const Button& button) {
    return with_button_check(
        {button.bits, 0, 0, 0, button.action, 0x91, 0, button.count, button.kind, 0});
}

inline constexpr FrameCommand button_command{.receiver = device::buttons, .set = 0x01, .id = 0x01};

constexpr ButtonFrame button_frame(const Button& button) {
    return make_frame(button_command, button_payload(button));
}

inline constexpr ButtonFrame idle_button_frame = button_frame({});
inline constexpr ButtonFrame periodic_a_frame = button_frame({.action = 0x01});
inline constexpr ButtonFrame periodic_b_frame = button_frame({.action = 0x02});
inline constexpr ButtonFrame selfie_frame = button_frame({.action = 0x10});
inline constexpr ButtonFrame record_start_frame = button_frame({.bits = 0x0C});
inline constexpr ButtonFrame record_stop_frame = button_frame({.bits = 0x04});
inline constexpr ButtonFrame interval_stop_frame = button_frame({.bits = 0x10});

constexpr std::uint8_t button_check_of(const ButtonFrame& frame) {
    return frame[frame_header_size + 9];
}

static_assert(idle_button_frame.size() == 23 && idle_button_frame[3] == 0x38);
static_assert(button_check_of(idle_button_frame) == 0x91);
static_assert(button_check_of(periodic_a_frame) == 0x90);
static_assert(button_check_of(periodic_b_frame) == 0x93);
static_assert(button_check_of(selfie_frame) == 0x81);
static_assert(button_check_of(record_start_frame) == 0x9D);
static_assert(button_check_of(record_stop_frame) == 0x95);
static_assert(button_check_of(interval_stop_frame) == 0x81);

// The lane of buttons that are held or pressed twice, so that the frames of two do not mix.
inline constexpr const char* button_lane = "buttons";

// Sends the periodic A button frame.
void periodic_frame();

} // namespace fieldrelaybox
