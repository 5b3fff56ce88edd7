#include "rc/rc_loop.h"

#include "apps/app_clients.h"
#include "camera/builders/gimbal.h"
#include "camera/builders/zoom.h"
#include "camera/link/camera_link.h"
#include "config/config_record.h"
#include "core/alarm.h"
#include "core/clock.h"
#include "core/numbers.h"
#include "core/shared_access.h"
#include "core/status_block.h"
#include "core/threads.h"
#include "rc/rc_commands.h"
#include "rc/rc_step.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <vector>

namespace fieldrelaybox {

namespace {

std::int32_t thousandths(double coordinate) {
    return limit_to_integer(std::round(coordinate * 1000), 0, 1000);
}

// A table that no map was ever read into is all zero, which would make every channel a pan channel.
void read_channel_functions(RcInputs& inputs) {
    const StatusBlock& block = status_block();
    for (std::size_t i = 0; i < rc_channel_count; ++i)
        inputs.functions[i] = std::atomic_ref(const_cast<std::uint8_t&>(block.channel_function[i]))
                                  .load(std::memory_order_acquire);
    if (std::ranges::all_of(inputs.functions, [](std::uint8_t entry) { return entry == 0; }))
        inputs.functions.fill(static_cast<std::uint8_t>(ChannelFunction::none));
}

void read_receiver(RcInputs& inputs) {
    StatusBlock& block = status_block();
    // In this order: who changes the map clears the state first, and who sets it to "receiving" has
    // written the channels before.
    read_channel_functions(inputs);
    inputs.rc_receiver_state =
        std::atomic_ref(block.rc_receiver_state).load(std::memory_order_acquire);
    for (std::size_t i = 0; i < rc_channel_count; ++i)
        inputs.channels[i] = load(block.rc_channels[i]);
    inputs.rc_heartbeat = load(block.rc_heartbeat);
    inputs.focus_x = thousandths(load(block.focus_point_x));
    inputs.focus_y = thousandths(load(block.focus_point_y));
    const ConfigRecord& record = config_record();
    inputs.rc_enabled = load(record.rc_input_enabled) != 0;
    inputs.exponential = load(record.rc_input_exp) != 0;
    inputs.percents = {load(record.rc_input_speed_pan), load(record.rc_input_speed_tilt),
                       load(record.roll_speed)};
}

constexpr std::chrono::milliseconds longest_rest{250};

// Returns whether it is at rest.
bool run_rc_step(RcState& state, std::vector<RcCommand>& commands) {
    commands.clear();
    gimbal_repeat_lost_stop(); // before a stick moves it again
    const RcInputs inputs = read_rc_inputs(timer_clock());
    rc_step(inputs, state, commands);
    perform_rc_commands(commands);
    return commands.empty() && is_at_rest(inputs, state);
}

} // namespace

RcInputs read_rc_inputs(std::int64_t now) {
    RcInputs inputs;
    inputs.now = now;
    read_receiver(inputs);
    inputs.camera_connected = camera_connected();
    const CameraBuilderState& state = camera_builder_state();
    inputs.app_move_number = state.app_move_number; // first: a later move has another one
    inputs.app_moves = state.app_gimbal_idle == 0;
    inputs.app_registered = inputs.app_moves && app_client_targets().count > 0;
    inputs.last_gimbal_pair = state.last_gimbal_pair;
    inputs.gimbal_hold = state.gimbal_hold;
    inputs.stop_in_doubt = state.gimbal_stop_in_doubt;
    inputs.position_commanded = state.position_commanded;
    inputs.last_position_command_ms = state.last_position_command_ms;
    inputs.zoom_step = current_zoom_step();
    inputs.focus_range_known = camera_state().focus_range != 0;
    return inputs;
}

// No step takes long: buttons that are held and the saving of settings run in lanes, and sending a
// frame waits at most 100 ms, when the camera is out of reach. The steps that a delay made the
// thread miss are left out. At rest a command wakes it, or a camera that connects: all that ends
// the rest comes by one of them. It looks around all the same, for the sign of life of the RC input
// that it has to know when RC is switched on. At rest that is seen 4 times a second only, so that
// one that died then is noticed up to 250 ms later.
void start_rc_loop() {
    start_service("rc-loop", [] {
        RcState state;
        std::vector<RcCommand> commands;
        std::int64_t due_us = monotonic_us();
        for (;;) {
            bool at_rest = false;
            run_guarded("rc-loop", [&] { at_rest = run_rc_step(state, commands); });
            if (at_rest) {
                await_ring(command_alarm, longest_rest);
                due_us = monotonic_us();
            } else {
                due_us = next_due(due_us, rc_period_us, monotonic_us());
                sleep_until_us(due_us);
            }
        }
    });
}

} // namespace fieldrelaybox
