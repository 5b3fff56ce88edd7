// What a step of the RC loop looks at and what it remembers.
#pragma once

#include "camera/state/camera_state.h"
#include "config/channel_functions.h"
#include "core/clock.h"
#include "fieldrelaybox/shared_memory.h"

#include <array>
#include <cstdint>
#include <optional>

namespace fieldrelaybox {

inline constexpr std::size_t rc_channel_count = FIELDRELAYBOX_RC_CHANNELS;

// Speeds of the three axes, percent.
struct AxisPercents {
    std::int32_t pan = 100;
    std::int32_t tilt = 100;
    std::int32_t roll = 100;
};

// All that a step looks at.
struct RcInputs {
    std::int64_t now = 0;                                   // timer clock
    std::array<std::uint16_t, rc_channel_count> channels{}; // pulse width in us, 0 = absent
    std::array<std::uint8_t, rc_channel_count> functions{}; // ChannelFunction, 255 = none
    bool rc_enabled = false;
    std::uint8_t rc_receiver_state = 0; // 6 = values are good
    std::uint8_t rc_heartbeat = 0;
    bool camera_connected = false;
    bool exponential = false;
    AxisPercents percents;
    GimbalPair last_gimbal_pair;
    bool gimbal_hold = false;
    bool app_moves = false; // a relative move of an app is going on
    std::int32_t app_move_number = 0;
    bool app_registered = false; // looked at only while app_moves
    bool stop_in_doubt = false;  // the camera may have to be told once more
    bool position_commanded = false;
    std::int64_t last_position_command_ms = 0;
    std::int32_t zoom_step = 0; // the zoom step register
    std::int32_t focus_x = 500; // focus point in thousandths, for the axis without a channel
    std::int32_t focus_y = 500;
    bool focus_range_known = false; // without it manual focus cannot be told to the camera
};

inline constexpr std::int32_t unknown_position = -1;

// What a step remembers of one channel; what the numbers are depends on the function.
struct ChannelState {
    std::uint8_t function = static_cast<std::uint8_t>(ChannelFunction::none);
    std::int32_t position = unknown_position; // where it is
    std::int32_t sent = unknown_position;     // what the camera was told
    std::int64_t changed_ms = 0;              // when position changed
    Interval sends;
};

// The sign of life of the RC input process. One that never gives any, as older ones, is taken at
// its word.
struct RcHeartbeat {
    std::uint8_t value = 0; // as the daemon's start leaves it
    bool has_begun = false;
    std::int64_t changed_ms = 0;
};

// What the loop remembers from step to step.
struct RcState {
    RcHeartbeat heartbeat;
    std::array<ChannelState, rc_channel_count> channels{};
    bool moves_gimbal = false; // the RC moves it, or a stop is still to send
    std::int64_t last_move_ms = 0;
    Interval rolls;
    bool menu_active = false;
    std::optional<std::int32_t> zoom_direction; // of the stick; none before its first value
    bool drives_zoom = false;                   // the RC drives it, or its stop is still to send
    std::int32_t zoom_step = 0;                 // what the channel last put into the register
    Interval zoom_moves;
    std::int32_t focus_x = 0; // the point sent last, or the starting position
    std::int32_t focus_y = 0;
    Interval focus_points;
};

} // namespace fieldrelaybox
