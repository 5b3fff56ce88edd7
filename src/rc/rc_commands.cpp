#include "rc/rc_commands.h"

#include "core/clock.h"

namespace fieldrelaybox {

namespace {

constexpr auto actions = in_order_of(rc_actions, &ActionRow::action);

} // namespace

void focus_manually(std::int32_t tenths) {
    constexpr std::int32_t report_delay_ms = 200; // until the camera says that it has changed
    const CameraState& camera = camera_state();
    if (camera.focus_range == 0)
        return;
    if (camera.autofocus &&
        is_due(camera_builder_state().focus_type_changes, timer_clock(), report_delay_ms))
        set_focus_type(FocusType::manual);
    set_manual_focus(tenths / 10.0);
}

void perform_rc_commands(const std::vector<RcCommand>& commands) {
    for (const RcCommand& command : commands)
        actions[static_cast<std::size_t>(command.action)].perform(command.a, command.b);
}

} // namespace fieldrelaybox
