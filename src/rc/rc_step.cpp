#include "rc/rc_step.h"

#include "rc/channel_handlers.h"

#include <array>

namespace fieldrelaybox {

namespace {

constexpr std::uint8_t rc_values_are_good = 6;
constexpr std::int64_t heartbeat_limit_ms = 500;
constexpr auto menu_function = static_cast<std::uint8_t>(ChannelFunction::menu);

constexpr auto handlers = in_order_of(handler_rows, &HandlerRow::function);

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
    handled[function] = handlers[function].channels == Channels::first;
    handlers[function].handle(step, channel, value);
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

// A process that died with a stick deflected leaves its last values behind.
bool is_rc_input_alive(RcHeartbeat& heartbeat, const RcInputs& inputs) {
    if (inputs.rc_heartbeat != heartbeat.value)
        heartbeat = {inputs.rc_heartbeat, true, inputs.now};
    return !heartbeat.has_begun ||
           !has_passed(inputs.now, heartbeat.changed_ms, heartbeat_limit_ms + 1);
}

bool is_rc_active(RcHeartbeat& heartbeat, const RcInputs& inputs) {
    return is_rc_input_alive(heartbeat, inputs) && inputs.rc_enabled &&
           inputs.rc_receiver_state == rc_values_are_good && inputs.camera_connected;
}

} // namespace

void rc_step(const RcInputs& inputs, RcState& state, std::vector<RcCommand>& commands) {
    RcStep step{inputs, state, commands};
    if (is_rc_active(state.heartbeat, inputs)) {
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

bool is_at_rest(const RcInputs& inputs, const RcState& state) {
    const bool for_camera = state.moves_gimbal || state.drives_zoom || state.zoom_step != 0 ||
                            inputs.zoom_step != 0 || inputs.stop_in_doubt;
    return !inputs.rc_enabled && !state.menu_active && !inputs.app_moves &&
           !(for_camera && inputs.camera_connected);
}

} // namespace fieldrelaybox
