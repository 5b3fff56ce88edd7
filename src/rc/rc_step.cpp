#include "rc/rc_step.h"

#include "core/enum_table.h"
#include "rc/channel_handlers.h"

#include <array>

namespace fieldrelaybox {

namespace {

constexpr std::uint8_t rc_values_are_good = 6;
constexpr auto menu_function = static_cast<std::uint8_t>(ChannelFunction::menu);

using ChannelHandler = void (*)(RcStep& step, ChannelState& channel, std::int32_t value);

// Several channels of a function that the first takes would fight for one thing: only the first
// that is there counts. Switches and other knobs act each.
enum class Channels : std::uint8_t { each, first };

struct HandlerRow {
    ChannelFunction function;
    ChannelHandler handle;
    Channels channels = Channels::each;
};

constexpr std::array<HandlerRow, channel_function_count> handler_rows{{
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

bool is_rc_active(const RcInputs& inputs) {
    return inputs.rc_enabled && inputs.rc_receiver_state == rc_values_are_good &&
           inputs.camera_connected;
}

} // namespace

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

} // namespace fieldrelaybox
