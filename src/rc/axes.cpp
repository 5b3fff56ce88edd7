// Pan, tilt and roll: who has the gimbal, the sticks or an app, and how fast it goes.
#include "core/clock.h"
#include "rc/channel_handlers.h"

#include <cmath>
#include <cstdlib>

namespace fieldrelaybox {

namespace {

constexpr double dead_band = 0.03;
constexpr std::int32_t full_scale = 1000;
constexpr std::int32_t position_quiet_ms = 2000;

// -1000..1000
std::int32_t axis_speed(const RcInputs& inputs, std::int32_t value, std::int32_t percent) {
    double part = deflection(value);
    if (inputs.exponential)
        part = 0.3 * part + 0.7 * part * part * part;
    const double speed = part * percent * (full_scale / 100.0);
    return static_cast<std::int32_t>(
        std::lround(std::clamp<double>(speed, -full_scale, full_scale)));
}

constexpr GimbalPair at_rest{};

void take_gimbal(RcStep& step, GimbalPair wanted) {
    if (step.inputs.app_moves)
        command(step, RcAction::end_app_move);
    // The same speed again would not end the hold that an app's angle began.
    if (step.inputs.gimbal_hold && step.inputs.last_gimbal_pair == wanted)
        command(step, RcAction::gimbal_speed);
    command(step, RcAction::gimbal_speed, wanted.pan, wanted.tilt);
    command(step, RcAction::gimbal_move, wanted.pan, wanted.tilt);
    step.state.moves_gimbal = true;
    step.state.last_move_ms = step.inputs.now;
}

// An app sent the gimbal to a position after the sticks' last move, less than 2 s ago: a stop would
// end its travel. A deflection after the command, or within the same millisecond, has taken over,
// and its end stops at once. An older command may have met a camera that was away.
bool travels_to_position(const RcStep& step) {
    const RcInputs& inputs = step.inputs;
    return inputs.position_commanded &&
           !has_passed(inputs.now, inputs.last_position_command_ms, position_quiet_ms) &&
           inputs.last_position_command_ms > step.state.last_move_ms;
}

// The sticks are back at the centre, or not there any more.
void release_gimbal(RcStep& step) {
    if (!step.inputs.app_moves && !travels_to_position(step))
        command(step, RcAction::gimbal_speed);
    step.state.moves_gimbal = false;
}

void carry_on_app_move(RcStep& step) {
    if (!step.inputs.app_registered) {
        command(step, RcAction::abandon_app_move, step.inputs.app_move_number);
    } else {
        command(step, RcAction::app_move);
    }
}

// While the camera is away nothing can be told to it: a stop that is due waits until it is back. An
// app's move ends with the apps all the same, or it would go on under the next app.
void wait_for_camera(RcStep& step) {
    if (!step.inputs.app_moves || step.inputs.app_registered)
        return;
    command(step, RcAction::end_app_move);
    step.state.moves_gimbal = true;
    step.state.last_move_ms = step.inputs.now;
}

} // namespace

double deflection(std::int32_t value) {
    const double part = std::clamp((value - 1500) / 500.0, -1.0, 1.0);
    const double beyond = std::max(std::abs(part) - dead_band, 0.0) / (1 - dead_band);
    return std::copysign(beyond, part);
}

void handle_pan(RcStep& step, ChannelState& /*channel*/, std::int32_t value) {
    step.pan = axis_speed(step.inputs, value, step.inputs.percents.pan);
}

void handle_tilt(RcStep& step, ChannelState& /*channel*/, std::int32_t value) {
    step.tilt = axis_speed(step.inputs, value, step.inputs.percents.tilt);
}

void handle_roll(RcStep& step, ChannelState& /*channel*/, std::int32_t value) {
    // Outside the dead band there is always a step, be the speed 0: apps set the roll speed anew
    // after every start, since no settings file holds it.
    const std::int32_t speed = axis_speed(step.inputs, value, step.inputs.percents.roll);
    step.roll = speed == 0 ? sign_of(deflection(value)) : speed;
}

void finish_gimbal(RcStep& step) {
    if (!step.inputs.camera_connected) {
        wait_for_camera(step);
        return;
    }
    const GimbalPair wanted = step.menu ? at_rest : GimbalPair{step.pan, step.tilt};
    if (wanted != at_rest) {
        take_gimbal(step, wanted);
        return;
    }
    if (step.state.moves_gimbal)
        release_gimbal(step);
    if (step.inputs.app_moves)
        carry_on_app_move(step);
}

void finish_roll(RcStep& step) {
    constexpr std::int32_t largest_step = 10;
    if (step.menu || step.roll == 0 || !is_due(step.state.rolls, step.inputs.now, repeat_ms))
        return;
    const auto size = static_cast<std::int32_t>(
        std::lround(std::abs(step.roll) * largest_step / static_cast<double>(full_scale)));
    command(step, RcAction::roll, step.roll > 0 ? std::max(size, 1) : -std::max(size, 1));
}

} // namespace fieldrelaybox
