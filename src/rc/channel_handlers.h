// The parts of a step of the RC loop: one handler per channel function, and what is decided
// when all channels have been looked at. The files of this room alone enter here.
#pragma once

#include "rc/rc_actions.h"
#include "rc/rc_state.h"

#include "core/enum_table.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace fieldrelaybox {

// A step under way, with what its channels ask for together.
struct RcStep {
    const RcInputs& inputs;
    RcState& state;
    std::vector<RcCommand>& commands;

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

inline void command(RcStep& step, RcAction action, std::int32_t a = 0, std::int32_t b = 0) {
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

// What happens every 100 ms happens every fifth step, even if one comes a little early.
inline constexpr std::int32_t repeat_ms = 95;

// Handlers: value is the channel's pulse width, never 0. A channel whose position is unknown shows
// its first value, which for all but the axes only sets where it starts from.
void handle_pan(RcStep& step, ChannelState& channel, std::int32_t value);
void handle_tilt(RcStep& step, ChannelState& channel, std::int32_t value);
void handle_roll(RcStep& step, ChannelState& channel, std::int32_t value);

void handle_record(RcStep& step, ChannelState& channel, std::int32_t value);
void handle_record_shot(RcStep& step, ChannelState& channel, std::int32_t value);
void handle_menu(RcStep& step, ChannelState& channel, std::int32_t value);
void handle_center(RcStep& step, ChannelState& channel, std::int32_t value);
void handle_orientation_lock(RcStep& step, ChannelState& channel, std::int32_t value);
void handle_focus_assistant(RcStep& step, ChannelState& channel, std::int32_t value);
void handle_internal_camera(RcStep& step, ChannelState& channel, std::int32_t value);
void handle_osd(RcStep& step, ChannelState& channel, std::int32_t value);
void handle_video_mode(RcStep& step, ChannelState& channel, std::int32_t value);

void handle_ev(RcStep& step, ChannelState& channel, std::int32_t value);
void handle_iso(RcStep& step, ChannelState& channel, std::int32_t value);
void handle_shutter(RcStep& step, ChannelState& channel, std::int32_t value);
void handle_aperture(RcStep& step, ChannelState& channel, std::int32_t value);

void handle_zoom(RcStep& step, ChannelState& channel, std::int32_t value);
void handle_digital_zoom(RcStep& step, ChannelState& channel, std::int32_t value);
void handle_digital_zoom2(RcStep& step, ChannelState& channel, std::int32_t value);
void handle_focus(RcStep& step, ChannelState& channel, std::int32_t value);
void handle_focus_pan(RcStep& step, ChannelState& channel, std::int32_t value);
void handle_focus_tilt(RcStep& step, ChannelState& channel, std::int32_t value);

using ChannelHandler = void (*)(RcStep& step, ChannelState& channel, std::int32_t value);

// Several channels of a function that the first takes would fight for one thing: only the first
// that is there counts. Switches and other knobs act each.
enum class Channels : std::uint8_t { each, first };

struct HandlerRow {
    ChannelFunction function;
    ChannelHandler handle;
    Channels channels = Channels::each;
};

inline constexpr std::array<HandlerRow, channel_function_count> handler_rows{{
    {ChannelFunction::pan, handle_pan, Channels::first},
    {ChannelFunction::tilt, handle_tilt, Channels::first},
    {ChannelFunction::roll, handle_roll, Channels::first},
    {ChannelFunction::center, handle_center},
    {ChannelFunction::orient_lock, handle_orientation_lock},
    {ChannelFunction::record, handle_record},
    {ChannelFunction::record_shot, handle_record_shot},
    {ChannelFunction::menu, handle_menu},
    {ChannelFunction::video_mode, handle_video_mode},
    {ChannelFunction::ev, handle_ev},
    {ChannelFunction::iso, handle_iso},
    {ChannelFunction::shutter, handle_shutter},
    {ChannelFunction::aperture, handle_aperture},
    {ChannelFunction::zoom, handle_zoom, Channels::first},
    {ChannelFunction::digital_zoom, handle_digital_zoom},
    {ChannelFunction::digital_zoom2, handle_digital_zoom2, Channels::first},
    {ChannelFunction::focus, handle_focus},
    {ChannelFunction::focus_pan, handle_focus_pan, Channels::first},
    {ChannelFunction::focus_tilt, handle_focus_tilt, Channels::first},
    {ChannelFunction::custom_focus_assistant, handle_focus_assistant},
    {ChannelFunction::internal_camera, handle_internal_camera},
    {ChannelFunction::osd, handle_osd},
}};

static_assert(names_each_once(handler_rows, &HandlerRow::function));

// After the channels, whether the RC is there or not.
void finish_menu(RcStep& step);
void finish_gimbal(RcStep& step);
void finish_roll(RcStep& step);
void finish_zoom_drive(RcStep& step);
void finish_zoom_step(RcStep& step);
void finish_focus_point(RcStep& step);

} // namespace fieldrelaybox
