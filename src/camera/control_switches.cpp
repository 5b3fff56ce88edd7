// Switches: what happens when one enters or leaves a position.
#include "camera/control_handlers.h"

#include <array>

namespace fieldrelaybox {

namespace {

constexpr std::int32_t margin = 50; // to both sides of a bound, against chatter

enum SwitchPosition : std::int32_t { low, middle, high };
constexpr std::array<std::int32_t, 2> switch_bounds{1300, 1701}; // from here on: middle, high
constexpr std::array<std::int32_t, 3> quarter_bounds{1250, 1500, 1750};

struct SwitchMove {
    std::int32_t from;
    std::int32_t to;
};

bool entered(SwitchMove move, std::int32_t position) {
    return move.from != unknown_position && move.from != position && move.to == position;
}

bool left(SwitchMove move, std::int32_t position) {
    return move.from == position && move.to != position;
}

// Position value is in, where a bound that lies between it and before counts with its margin.
template<std::size_t Bounds>
SwitchMove move_switch(const std::array<std::int32_t, Bounds>& bounds, ChannelState& channel,
                       std::int32_t value) {
    const std::int32_t from = channel.position;
    std::int32_t to = 0;
    for (std::size_t i = 0; i < Bounds; ++i) {
        const bool above = from > static_cast<std::int32_t>(i);
        const std::int32_t shift = from == unknown_position ? 0 : above ? -margin : margin;
        to += value >= bounds[i] + shift ? 1 : 0;
    }
    channel.position = to;
    return {from, to};
}

SwitchMove record_while_high(ControlStep& step, ChannelState& channel, std::int32_t value) {
    const SwitchMove move = move_switch(switch_bounds, channel, value);
    if (entered(move, high))
        command(step, ControlAction::record, 1);
    if (left(move, high))
        command(step, ControlAction::record, 0);
    return move;
}

void flip_on_high(ControlStep& step, ChannelState& channel, std::int32_t value,
                  FlippedSetting setting) {
    if (entered(move_switch(switch_bounds, channel, value), high))
        command(step, ControlAction::flip_setting, static_cast<std::int32_t>(setting));
}

} // namespace

void handle_record(ControlStep& step, ChannelState& channel, std::int32_t value) {
    record_while_high(step, channel, value);
}

void handle_record_shot(ControlStep& step, ChannelState& channel, std::int32_t value) {
    if (entered(record_while_high(step, channel, value), low))
        command(step, ControlAction::shot);
}

// By position, from the first value on: a menu that is open must not move the gimbal.
void handle_menu(ControlStep& step, ChannelState& channel, std::int32_t value) {
    step.menu = move_switch(switch_bounds, channel, value).to == high || step.menu;
}

void handle_center(ControlStep& step, ChannelState& channel, std::int32_t value) {
    if (entered(move_switch(switch_bounds, channel, value), high) && !step.menu)
        command(step, ControlAction::recentre);
}

// What the switch did while the menu was open is made good afterwards, so that it shows the truth.
void handle_orientation_lock(ControlStep& step, ChannelState& channel, std::int32_t value) {
    const SwitchMove move = move_switch(switch_bounds, channel, value);
    const std::int32_t locked = move.to == high ? 1 : 0;
    if (move.from == unknown_position)
        channel.sent = locked;
    if (step.menu || channel.sent == locked)
        return;
    channel.sent = locked;
    command(step, ControlAction::orientation, locked);
}

void handle_focus_assistant(ControlStep& step, ChannelState& channel, std::int32_t value) {
    flip_on_high(step, channel, value, FlippedSetting::focus_assistant);
}

void handle_internal_camera(ControlStep& step, ChannelState& channel, std::int32_t value) {
    flip_on_high(step, channel, value, FlippedSetting::internal_camera);
}

void handle_osd(ControlStep& step, ChannelState& channel, std::int32_t value) {
    flip_on_high(step, channel, value, FlippedSetting::osd);
}

void handle_video_mode(ControlStep& step, ChannelState& channel, std::int32_t value) {
    const SwitchMove move = move_switch(quarter_bounds, channel, value);
    if (move.from != unknown_position && move.from != move.to)
        command(step, ControlAction::exposure_mode, move.to);
}

void finish_menu(ControlStep& step) {
    if (step.menu == step.state.menu_active)
        return;
    step.state.menu_active = step.menu;
    command(step, ControlAction::menu_active, step.menu ? 1 : 0);
}

} // namespace fieldrelaybox
