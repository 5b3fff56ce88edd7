#include "rc/rc_loop.h"

#include "apps/app_clients.h"
#include "camera/link/camera_link.h"
#include "camera/link/stored_frame.h"
#include "config/config_record.h"
#include "core/clock.h"
#include "core/numbers.h"
#include "core/shared_access.h"
#include "core/status_block.h"
#include "core/threads.h"
#include "rc/channel_handlers.h"

#include <algorithm>
#include <cmath>

namespace fieldrelaybox {

namespace {

constexpr std::uint8_t rc_values_are_good = 6;
constexpr auto menu_function = static_cast<std::uint8_t>(ChannelFunction::menu);

using ChannelHandler = void (*)(RcStep& step, ChannelState& channel, std::int32_t value);

// In the order of ChannelFunction.
constexpr std::array<ChannelHandler, 22> handlers{
    handle_pan,           handle_tilt,
    handle_record,        handle_record_shot,
    handle_menu,          handle_ev,
    handle_zoom,          handle_focus,
    handle_roll,          handle_focus_pan,
    handle_focus_tilt,    handle_digital_zoom,
    handle_digital_zoom2, handle_iso,
    handle_shutter,       handle_aperture,
    handle_video_mode,    handle_focus_assistant,
    handle_center,        handle_internal_camera,
    handle_osd,           handle_orientation_lock,
};

static_assert(handlers[static_cast<std::size_t>(ChannelFunction::digital_zoom2)] ==
              handle_digital_zoom2);
static_assert(handlers[static_cast<std::size_t>(ChannelFunction::orient_lock)] ==
              handle_orientation_lock);

// Several channels of such a function would fight for one thing: the first that is there counts.
constexpr std::array single_functions{
    ChannelFunction::pan,           ChannelFunction::tilt,      ChannelFunction::roll,
    ChannelFunction::zoom,          ChannelFunction::focus_pan, ChannelFunction::focus_tilt,
    ChannelFunction::digital_zoom2,
};

constexpr auto is_single = [] {
    std::array<bool, handlers.size()> result{};
    for (const ChannelFunction function : single_functions)
        result[static_cast<std::size_t>(function)] = true;
    return result;
}();

using HandledFunctions = std::array<bool, handlers.size()>;

// An absent value, or another function than before, makes the next value a first one.
void handle_channel(RcStep& step, HandledFunctions& handled, std::size_t index) {
    ChannelState& channel = step.state.channels[index];
    const std::uint8_t function = step.inputs.functions[index];
    const std::uint16_t value = step.inputs.channels[index];
    const bool acts = value != 0 && function < handlers.size() && !handled[function];
    if (!acts || function != channel.function)
        channel = {};
    channel.function = function;
    if (!acts)
        return;
    handled[function] = is_single[function];
    handlers[function](step, channel, value);
}

// Menu channels come first, wherever they are: what other channels do depends on the menu.
void handle_channels(RcStep& step) {
    HandledFunctions handled{};
    for (const bool menu : {true, false}) {
        for (std::size_t i = 0; i < rc_channel_count; ++i) {
            if (menu == (step.inputs.functions[i] == menu_function))
                handle_channel(step, handled, i);
        }
    }
}

bool is_rc_active(const RcInputs& inputs) {
    return inputs.rc_enabled && inputs.rc_receiver_state == rc_values_are_good &&
           inputs.camera_connected;
}

std::int32_t thousandths(double coordinate) {
    return limit_to_integer(std::round(coordinate * 1000), 0, 1000);
}

// A table that no map was ever read into is all zero, which would make every channel a pan channel.
void read_channel_functions(RcInputs& inputs) {
    const StatusBlock& block = status_block();
    for (std::size_t i = 0; i < rc_channel_count; ++i)
        inputs.functions[i] = load(block.channel_function[i]);
    if (std::ranges::all_of(inputs.functions, [](std::uint8_t entry) { return entry == 0; }))
        inputs.functions.fill(static_cast<std::uint8_t>(ChannelFunction::none));
}

void read_receiver(RcInputs& inputs) {
    StatusBlock& block = status_block();
    // Before the channels: who sets it to "receiving" has written them first.
    inputs.rc_receiver_state =
        std::atomic_ref(block.rc_receiver_state).load(std::memory_order_acquire);
    for (std::size_t i = 0; i < rc_channel_count; ++i)
        inputs.channels[i] = load(block.rc_channels[i]);
    read_channel_functions(inputs);
    inputs.focus_x = thousandths(load(block.focus_point_x));
    inputs.focus_y = thousandths(load(block.focus_point_y));
    const ConfigRecord& record = config_record();
    inputs.rc_enabled = load(record.rc_input_enabled) != 0;
    inputs.exponential = load(record.rc_input_exp) != 0;
    inputs.percents = {load(record.rc_input_speed_pan), load(record.rc_input_speed_tilt),
                       load(record.roll_speed)};
}

} // namespace

bool is_due(Interval& interval, std::uint32_t now, std::int32_t milliseconds) {
    if (interval.last_ms && !has_passed(now, *interval.last_ms, milliseconds))
        return false;
    interval.last_ms = now;
    return true;
}

void rc_step(const RcInputs& inputs, RcState& state, std::vector<RcCommand>& commands) {
    RcStep step{inputs, state, commands};
    if (is_rc_active(inputs)) {
        handle_channels(step);
    } else {
        state.channels.fill({});
    }
    finish_menu(step);
    finish_gimbal(step);
    finish_roll(step);
    finish_zoom_drive(step);
    finish_zoom_step(step);
    finish_focus_point(step);
}

RcInputs read_rc_inputs(std::uint32_t now) {
    RcInputs inputs;
    inputs.now = now;
    read_receiver(inputs);
    inputs.camera_connected = camera_connected();
    const CameraBuilderState& state = camera_builder_state();
    inputs.app_moves = state.app_gimbal_idle == 0;
    inputs.app_registered = inputs.app_moves && app_client_targets().count > 0;
    inputs.last_gimbal_pair = state.last_gimbal_pair;
    inputs.gimbal_hold = state.gimbal_hold;
    inputs.position_commanded = state.position_commanded;
    inputs.last_position_command_ms = state.last_position_command_ms;
    inputs.zoom_step = state.zoom_step;
    inputs.focus_range_known = camera_state().focus_range != 0;
    return inputs;
}

// No step takes long: the builders that sleep and the saving of settings run in threads of their
// own, and sending a frame waits at most 100 ms, when the camera is out of reach. The steps that a
// delay made the thread miss are left out.
void start_rc_loop() {
    start_thread("rc-loop", [] {
        RcState state;
        std::vector<RcCommand> commands;
        std::int64_t due_us = monotonic_us();
        for (;;) {
            run_guarded("rc-loop", [&] {
                commands.clear();
                rc_step(read_rc_inputs(millisecond_clock()), state, commands);
                perform_rc_commands(commands);
            });
            due_us = next_due(due_us, rc_period_us, monotonic_us());
            sleep_until_us(due_us);
        }
    });
}

} // namespace fieldrelaybox
