// Switches: what happens when one enters or leaves a position.
#include "rc/channel_handlers.h"

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

SwitchMove record_while_high(RcStep& step, ChannelState& channel, std::int32_t value) {
    const SwitchMove move = move_switch(switch_bounds, channel, value);
    if (entered(move, high))
        command(step, RcAction::record, 1);
    if (left(move, high))
        command(step, RcAction::record, 0);
    return move;
}

void flip_on_high(RcStep& step, ChannelState& channel, std::int32_t value, FlippedSetting setting) {
    if (entered(move_switch(switch_bounds, channel, value), high))
        command(step, RcAction::flip_setting, static_cast<std::int32_t>(setting));
}

} // namespace

void handle_record(RcStep& step, ChannelState& channel, std::int32_t value) {
    record_while_high(step, channel, value);
}

void handle_record_shot(RcStep& step, ChannelState& channel, std::int32_t value) {
    if (entered(record_while_high(step, channel, value), low))
        command(step, RcAction::shot);
}

// By position, from the first value on: a menu that is open must not move the gimbal.
void handle_menu(RcStep& step, ChannelState& channel, std::int32_t value) {
    step.menu = move_switch(switch_bounds, channel, value).to == high || step.menu;
}

void handle_center(RcStep& step, ChannelState& channel, std::int32_t value) {
    if (entered(move_switch(switch_bounds, channel, value), high) && !step.menu)
        command(step, RcAction::recentre);
}

// What the switch did while the menu was open is made good afterwards, so that it shows the truth.
void handle_orientation_lock(RcStep& step, ChannelState& channel, std::int32_t value) {
    const SwitchMove move = move_switch(switch_bounds, channel, value);
    const std::int32_t locked = move.to == high ? 1 : 0;
    if (move.from == unknown_position)
        channel.sent = locked;
    if (step.menu || channel.sent == locked)
        return;
    channel.sent = locked;
    command(step, RcAction::orientation, locked);
}

void handle_focus_assistant(RcStep& step, ChannelState& channel, std::int32_t value) {
    flip_on_high(step, channel, value, FlippedSetting::focus_assistant);
}

void handle_internal_camera(RcStep& step, ChannelState& channel, std::int32_t value) {
    flip_on_high(step, channel, value, FlippedSetting::internal_camera);
}

void handle_osd(RcStep& step, ChannelState& channel, std::int32_t value) {
    flip_on_high(step, channel, value, FlippedSetting::osd);
}

void handle_video_mode(RcStep& step, ChannelState& channel, std::int32_t value) {
    const SwitchMove move = move_switch(quarter_bounds, channel, value);
    if (move.from != unknown_position && move.from != move.to)
        command(step, RcAction::exposure_mode, move.to);
}

void finish_menu(RcStep& step) {
    if (step.menu == step.state.menu_active)
        return;
    step.state.menu_active = step.menu;
    command(step, RcAction::menu_active, step.menu ? 1 : 0);
}

} // namespace fieldrelaybox
