// The parts of a step of the control loop: one handler per channel function, and what is decided
// when all channels have been looked at. The files control_*.cpp alone enter here.
#pragma once

#include "camera/control_loop.h"

#include <algorithm>
#include <optional>
#include <vector>

namespace fieldrelaybox {

// A step under way, with what its channels ask for together.
struct ControlStep {
    const ControlInputs& inputs;
    ControlState& state;
    std::vector<ControlCommand>& commands;

    std::int32_t pan = 0; // -1000..1000
    std::int32_t tilt = 0;
    std::int32_t roll = 0;
    bool menu = false; // known before the other channels are looked at
    std::optional<std::int32_t> zoom_direction{};
    bool has_zoom_step = false;              // a channel is there for it
    std::optional<std::int32_t> zoom_step{}; // its change
    std::optional<std::int32_t> focus_x{};   // thousandths
    std::optional<std::int32_t> focus_y{};
};

inline void command(ControlStep& step, ControlAction action, std::int32_t a = 0,
                    std::int32_t b = 0) {
    step.commands.push_back({action, a, b});
}

// A pulse width within its full travel, counted from its low end.
constexpr std::int32_t travel = 1000;

constexpr std::int32_t travelled(std::int32_t value) {
    return std::clamp(value - 1000, 0, travel);
}

// Deflection from the centre, -1..1, 0 within the dead band.
double deflection(std::int32_t value);

constexpr std::int32_t sign_of(double number) {
    return (number > 0 ? 1 : 0) - (number < 0 ? 1 : 0);
}

// True at most once per interval; a clock that was set back does not stop it.
bool is_due(Interval& interval, std::uint32_t now, std::int32_t milliseconds);

// What happens every 100 ms happens every fifth step, even if one comes a little early.
inline constexpr std::int32_t repeat_ms = 95;

// Handlers: value is the channel's pulse width, never 0. A channel whose position is unknown shows
// its first value, which for all but the axes only sets where it starts from.
void handle_pan(ControlStep& step, ChannelState& channel, std::int32_t value);
void handle_tilt(ControlStep& step, ChannelState& channel, std::int32_t value);
void handle_roll(ControlStep& step, ChannelState& channel, std::int32_t value);

void handle_record(ControlStep& step, ChannelState& channel, std::int32_t value);
void handle_record_shot(ControlStep& step, ChannelState& channel, std::int32_t value);
void handle_menu(ControlStep& step, ChannelState& channel, std::int32_t value);
void handle_center(ControlStep& step, ChannelState& channel, std::int32_t value);
void handle_orientation_lock(ControlStep& step, ChannelState& channel, std::int32_t value);
void handle_focus_assistant(ControlStep& step, ChannelState& channel, std::int32_t value);
void handle_internal_camera(ControlStep& step, ChannelState& channel, std::int32_t value);
void handle_osd(ControlStep& step, ChannelState& channel, std::int32_t value);
void handle_video_mode(ControlStep& step, ChannelState& channel, std::int32_t value);

void handle_ev(ControlStep& step, ChannelState& channel, std::int32_t value);
void handle_iso(ControlStep& step, ChannelState& channel, std::int32_t value);
void handle_shutter(ControlStep& step, ChannelState& channel, std::int32_t value);
void handle_aperture(ControlStep& step, ChannelState& channel, std::int32_t value);

void handle_zoom(ControlStep& step, ChannelState& channel, std::int32_t value);
void handle_digital_zoom(ControlStep& step, ChannelState& channel, std::int32_t value);
void handle_digital_zoom2(ControlStep& step, ChannelState& channel, std::int32_t value);
void handle_focus(ControlStep& step, ChannelState& channel, std::int32_t value);
void handle_focus_pan(ControlStep& step, ChannelState& channel, std::int32_t value);
void handle_focus_tilt(ControlStep& step, ChannelState& channel, std::int32_t value);

// After the channels, whether the RC is there or not.
void finish_menu(ControlStep& step);
void finish_gimbal(ControlStep& step);
void finish_roll(ControlStep& step);
void finish_zoom_drive(ControlStep& step);
void finish_zoom_step(ControlStep& step);
void finish_focus_point(ControlStep& step);

} // namespace fieldrelaybox
