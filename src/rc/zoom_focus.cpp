// Zoom and focus from sticks and knobs.
#include "rc/channel_handlers.h"

#include <cmath>
#include <cstdlib>

namespace fieldrelaybox {

namespace {

constexpr std::int32_t percent = travel / 100; // of a channel's travel
constexpr std::int32_t focus_interval_ms = 50;
constexpr std::int32_t focus_point_interval_ms = 200;

// The nearest level, where the one before is kept until the next is clearly nearer.
std::int32_t zoom_level_of(std::int32_t value, std::int32_t before) {
    const std::int32_t way = travelled(value);
    const bool near_before = std::abs(way - before * percent) <= percent * 3 / 4;
    return before != unknown_position && near_before ? before : (way + percent / 2) / percent;
}

// The last half percent at either end is the end, which would be out of reach otherwise.
std::int32_t end_near(std::int32_t way) {
    constexpr std::int32_t nearness = percent / 2;
    if (way < nearness)
        return 0;
    return way > travel - nearness ? travel : way;
}

bool has_moved(std::optional<std::int32_t> way, std::int32_t sent) {
    if (!way)
        return false;
    const bool at_end = end_near(*way) == 0 || end_near(*way) == travel;
    return std::abs(*way - sent) >= (at_end ? percent / 2 : percent);
}

// What is done to the knob for the menu is not for the camera.
void follow_focus_axis(RcStep& step, ChannelState& channel, std::int32_t value,
                       std::optional<std::int32_t>& wanted, std::int32_t& sent) {
    const bool starts = channel.position == unknown_position || step.menu;
    channel.position = travelled(value);
    if (starts)
        sent = channel.position;
    else
        wanted = channel.position;
}

} // namespace

// While the menu has the sticks, those of zoom and focus point count as at rest.
void handle_zoom(RcStep& step, ChannelState& /*channel*/, std::int32_t value) {
    const std::int32_t direction = step.menu ? 0 : sign_of(deflection(value));
    step.zoom_direction = direction;
}

void handle_digital_zoom(RcStep& step, ChannelState& channel, std::int32_t value) {
    const std::int32_t before = channel.position;
    channel.position = zoom_level_of(value, before);
    if (before != unknown_position && before != channel.position)
        command(step, RcAction::zoom_level, channel.position);
}

void handle_digital_zoom2(RcStep& step, ChannelState& channel, std::int32_t value) {
    constexpr int largest_step = 5;
    step.has_zoom_step = true;
    const double part = step.menu ? 0 : deflection(value);
    const auto zoom_step = static_cast<std::int32_t>(std::lround(part * largest_step));
    // Stored off by 5, since -1 stands for unknown.
    const std::int32_t before = channel.position;
    channel.position = zoom_step + largest_step;
    const bool register_is_ours = step.inputs.zoom_step == step.state.zoom_step;
    if (before == unknown_position && step.state.zoom_step != 0 && register_is_ours)
        step.zoom_step = 0; // another channel began it
    else if (before != unknown_position && before != channel.position)
        step.zoom_step = zoom_step;
}

// A position that cannot be told yet, for want of the focus range, is told when it is there.
void handle_focus(RcStep& step, ChannelState& channel, std::int32_t value) {
    channel.position = travelled(value);
    if (channel.sent == unknown_position)
        channel.sent = channel.position;
    if (!step.inputs.focus_range_known || !has_moved(channel.position, channel.sent) ||
        !is_due(channel.sends, step.inputs.now, focus_interval_ms))
        return;
    channel.sent = channel.position;
    command(step, RcAction::manual_focus, end_near(channel.position));
}

void handle_focus_pan(RcStep& step, ChannelState& channel, std::int32_t value) {
    follow_focus_axis(step, channel, value, step.focus_x, step.state.focus_x);
}

void handle_focus_tilt(RcStep& step, ChannelState& channel, std::int32_t value) {
    follow_focus_axis(step, channel, value, step.focus_y, step.state.focus_y);
}

// Without a direction, because the RC or the camera is gone, a zoom that the stick drives is
// stopped as soon as the camera can hear it.
void finish_zoom_drive(RcStep& step) {
    RcState& state = step.state;
    if (!step.zoom_direction)
        state.zoom_direction.reset();
    if (state.drives_zoom && !state.zoom_direction && step.inputs.camera_connected) {
        command(step, RcAction::zoom_drive, 0);
        state.drives_zoom = false;
    }
    if (step.zoom_direction && state.zoom_direction &&
        *step.zoom_direction != *state.zoom_direction) {
        command(step, RcAction::zoom_drive, *step.zoom_direction);
        state.drives_zoom = *step.zoom_direction != 0;
    }
    state.zoom_direction = step.zoom_direction;
}

// The register belongs to who wrote it last: the channel, which clears what it wrote when it goes,
// or an app.
void finish_zoom_step(RcStep& step) {
    RcState& state = step.state;
    std::int32_t zoom_step = step.inputs.zoom_step;
    if (!step.has_zoom_step && state.zoom_step != 0) {
        if (zoom_step == state.zoom_step)
            step.zoom_step = 0;
        state.zoom_step = 0;
    }
    if (step.zoom_step) {
        zoom_step = state.zoom_step = *step.zoom_step;
        command(step, RcAction::zoom_step, zoom_step);
    }
    if (zoom_step != 0 && step.inputs.camera_connected &&
        is_due(state.zoom_moves, step.inputs.now, repeat_ms))
        command(step, RcAction::zoom_relative, zoom_step);
}

void finish_focus_point(RcStep& step) {
    RcState& state = step.state;
    if (!has_moved(step.focus_x, state.focus_x) && !has_moved(step.focus_y, state.focus_y))
        return;
    if (!is_due(state.focus_points, step.inputs.now, focus_point_interval_ms))
        return;
    state.focus_x = step.focus_x.value_or(step.inputs.focus_x);
    state.focus_y = step.focus_y.value_or(step.inputs.focus_y);
    command(step, RcAction::focus_point, end_near(state.focus_x), end_near(state.focus_y));
}

} // namespace fieldrelaybox
