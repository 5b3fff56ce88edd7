// Sending frames that exist as compile-time templates: copy, patch the payload, send while the
// camera is connected. The command builders enter here.
#pragma once

#include "camera/link/camera_link.h"
#include "camera/link/frame.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace fieldrelaybox {

// Who takes a frame, or sends one in the name of.
namespace device {
inline constexpr std::uint8_t camera = 0x01;
inline constexpr std::uint8_t relay = 0x02;
inline constexpr std::uint8_t gimbal = 0x04;
inline constexpr std::uint8_t wifi = 0x07;
inline constexpr std::uint8_t buttons = 0x09;
} // namespace device

constexpr FrameCommand camera_command(std::uint8_t id) {
    return {.receiver = device::camera, .set = 0x02, .id = id};
}

constexpr FrameCommand gimbal_command(std::uint8_t id) {
    return {.receiver = device::gimbal, .set = 0x04, .id = id};
}

// Sends a copy of frame while the camera is connected. Returns whether it was sent.
template<std::size_t Size> bool send_stored_frame(std::array<std::uint8_t, Size> frame) {
    return send_camera_frame_if_connected(frame);
}

// The same with another payload of the same size.
template<std::size_t Size, std::size_t PayloadSize>
bool send_stored_frame(std::array<std::uint8_t, Size> frame,
                       const std::array<std::uint8_t, PayloadSize>& payload) {
    static_assert(Size == frame_header_size + PayloadSize + frame_check_size);
    std::copy(payload.begin(), payload.end(), frame.begin() + frame_header_size);
    return send_camera_frame_if_connected(frame);
}

// The same with a payload of one byte.
template<std::size_t Size>
bool send_stored_frame(const std::array<std::uint8_t, Size>& frame, std::uint8_t payload) {
    return send_stored_frame(frame, std::array{payload});
}

// Sends count copies of frame, each while the camera is connected. Stops at the first that is not
// sent and returns false.
template<std::size_t Size>
bool send_stored_frame_times(int count, const std::array<std::uint8_t, Size>& frame) {
    for (int i = 0; i < count; ++i) {
        if (!send_stored_frame(frame))
            return false;
    }
    return true;
}

} // namespace fieldrelaybox
