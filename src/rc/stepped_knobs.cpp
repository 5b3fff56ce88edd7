// Knobs whose travel is divided into equal steps, one per value of a table.
#include "camera/builders/exposure_values.h"
#include "core/clock.h"
#include "rc/channel_handlers.h"

#include <cstdlib>

namespace fieldrelaybox {

namespace {

constexpr std::int32_t hold_ms = 100;

// The step that value is in. The one before is left only a quarter of a step beyond its end, on
// either side, so that a knob between two steps rests: half a step of hysteresis. In quarters of a
// step times travel, to stay with whole numbers.
std::int32_t step_of(std::int32_t value, std::int32_t count, std::int32_t before) {
    const std::int32_t way = travelled(value) * count;
    const std::int32_t middle_of_before = (4 * before + 2) * travel;
    if (before != unknown_position && std::abs(4 * way - middle_of_before) <= 3 * travel)
        return before;
    return std::min(way / travel, count - 1);
}

template<std::size_t Count>
void follow_steps(RcStep& step, ChannelState& channel, std::int32_t value, RcAction action) {
    const std::int32_t before = channel.position;
    channel.position = step_of(value, static_cast<std::int32_t>(Count), before);
    if (before == unknown_position)
        channel.sent = channel.position;
    if (before != channel.position)
        channel.changed_ms = step.inputs.now;
    if (channel.position == channel.sent ||
        !has_passed(step.inputs.now, channel.changed_ms, hold_ms))
        return;
    channel.sent = channel.position;
    command(step, action, channel.position);
}

} // namespace

void handle_ev(RcStep& step, ChannelState& channel, std::int32_t value) {
    follow_steps<ev_values.size()>(step, channel, value, RcAction::ev);
}

void handle_iso(RcStep& step, ChannelState& channel, std::int32_t value) {
    follow_steps<iso_steps.size()>(step, channel, value, RcAction::iso);
}

void handle_shutter(RcStep& step, ChannelState& channel, std::int32_t value) {
    follow_steps<shutter_texts.size()>(step, channel, value, RcAction::shutter);
}

void handle_aperture(RcStep& step, ChannelState& channel, std::int32_t value) {
    follow_steps<aperture_steps.size()>(step, channel, value, RcAction::aperture);
}

} // namespace fieldrelaybox
