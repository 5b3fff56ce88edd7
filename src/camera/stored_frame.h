// Sending frames that exist as compile-time templates: copy, patch the payload, send while the
// camera is connected. The command builders enter here.
#pragma once

#include "camera/camera_link.h"
#include "camera/frame.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <mutex>
#include <string_view>

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

// Turns are given in the order in which they were asked for.
class SequenceTurn {
public:
    static constexpr int waiting_capacity = 12;

    void lock();
    // False, at once and without the turn, while waiting_capacity others wait for it.
    bool lock_unless_crowded();
    void unlock();

private:
    void await_turn(std::unique_lock<std::mutex>& lock);

    std::mutex mutex_; // guards the rest
    std::condition_variable turn_ended_;
    std::uint64_t next_ticket_ = 0;
    std::uint64_t served_ticket_ = 0; // next_ticket_ when nobody has the turn
};

// Held by a command that sleeps between its frames, so that the frames of two such commands do not
// mix. The only lock of the camera room that is held across sleeps.
SequenceTurn& sequence_turn();

// A word of the commands and the byte that stands for it in a frame.
struct WordCode {
    std::string_view word;
    std::uint8_t code;
};

// The row whose word is word, or null.
template<class Row, std::size_t Count>
constexpr const Row* find_word(const std::array<Row, Count>& table, std::string_view word) {
    const auto* found = std::find_if(table.data(), table.data() + Count,
                                     [word](const Row& row) { return row.word == word; });
    return found == table.data() + Count ? nullptr : found;
}

// How numbers from outside go into fields: the low bits of an integer, as many as fit.
constexpr std::uint8_t low_byte(std::int64_t value) {
    return static_cast<std::uint8_t>(value & 0xFF);
}

constexpr std::uint16_t low_word(std::int64_t value) {
    return static_cast<std::uint16_t>(value & 0xFFFF);
}

// value cut towards zero and limited to low..high; low for what is not a number.
template<class Float>
constexpr std::int32_t limit_to_integer(Float value, std::int32_t low, std::int32_t high) {
    if (!(value > static_cast<Float>(low)))
        return low;
    return value >= static_cast<Float>(high) ? high : static_cast<std::int32_t>(value);
}

inline std::int32_t limit_to_int32(double value) {
    return limit_to_integer(value, std::numeric_limits<std::int32_t>::min(),
                            std::numeric_limits<std::int32_t>::max());
}

// Single precision; infinity for what is too large.
inline float to_float(double value) {
    if (std::abs(value) > static_cast<double>(std::numeric_limits<float>::max()))
        return std::copysign(std::numeric_limits<float>::infinity(), value < 0 ? -1.0F : 1.0F);
    return static_cast<float>(value);
}

} // namespace fieldrelaybox
