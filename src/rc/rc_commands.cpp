// What the RC loop decided, carried out with the command builders.
#include "camera/builders/exposure.h"
#include "camera/builders/exposure_values.h"
#include "camera/builders/focus.h"
#include "camera/builders/gimbal.h"
#include "camera/builders/gimbal_settings.h"
#include "camera/builders/shooting.h"
#include "camera/builders/zoom.h"
#include "core/clock.h"
#include "core/enum_table.h"
#include "core/shared_access.h"
#include "core/status_block.h"
#include "rc/channel_handlers.h"
#include "rc/rc_jobs.h"

namespace fieldrelaybox {

namespace {

using Performer = void (*)(std::int32_t a, std::int32_t b);

constexpr std::array<const char*, 4> exposure_modes{"auto", "shutter", "aperture", "manual"};

template<class Table> const auto& row(const Table& table, std::int32_t index) {
    return table[static_cast<std::size_t>(index)];
}

// A knob for manual focus means manual focus: the camera would not follow it in autofocus. It takes
// a while to report that it has changed.
void focus_manually(std::int32_t tenths) {
    constexpr std::int32_t report_delay_ms = 200;
    const CameraState& camera = camera_state();
    if (camera.focus_range == 0)
        return;
    if (camera.autofocus &&
        is_due(camera_builder_state().focus_type_changes, millisecond_clock(), report_delay_ms))
        set_focus_type(FocusType::manual);
    set_manual_focus(tenths / 10.0);
}

struct PerformerRow {
    RcAction action;
    Performer perform;
};

constexpr std::array<PerformerRow, rc_action_count> performer_rows{{
    {RcAction::gimbal_speed, [](std::int32_t pan, std::int32_t tilt) { gimbal_speed(pan, tilt); }},
    {RcAction::gimbal_move, [](std::int32_t pan, std::int32_t tilt) { gimbal_move(pan, tilt); }},
    {RcAction::app_move, [](std::int32_t, std::int32_t) { gimbal_carry_on_app_move(); }},
    {RcAction::end_app_move,
     [](std::int32_t, std::int32_t) { camera_builder_state().app_gimbal_idle = 1; }},
    {RcAction::roll,
     [](std::int32_t step, std::int32_t) { roll_horizont(static_cast<std::int8_t>(step)); }},
    {RcAction::recentre, [](std::int32_t, std::int32_t) { start_gimbal_job(GimbalJob::recentre); }},
    {RcAction::orientation,
     [](std::int32_t lock, std::int32_t) {
         start_gimbal_job(lock != 0 ? GimbalJob::lock_orientation : GimbalJob::unlock_orientation);
     }},
    {RcAction::record, [](std::int32_t start, std::int32_t) { record(start != 0); }},
    {RcAction::shot, [](std::int32_t, std::int32_t) { shot(); }},
    {RcAction::flip_setting,
     [](std::int32_t setting, std::int32_t) {
         start_setting_flip(static_cast<FlippedSetting>(setting));
     }},
    {RcAction::menu_active,
     [](std::int32_t active, std::int32_t) {
         store(status_block().rc_menu_active, static_cast<std::uint8_t>(active));
     }},
    {RcAction::exposure_mode,
     [](std::int32_t index, std::int32_t) { set_image_mode(row(exposure_modes, index)); }},
    {RcAction::ev, [](std::int32_t index, std::int32_t) { set_ev(row(ev_values, index)); }},
    {RcAction::iso, [](std::int32_t index, std::int32_t) { set_iso(row(iso_steps, index).iso); }},
    {RcAction::shutter,
     [](std::int32_t index, std::int32_t) { set_shutter(row(shutter_texts, index).data()); }},
    {RcAction::aperture,
     [](std::int32_t index, std::int32_t) { set_aperture(row(aperture_steps, index)); }},
    {RcAction::zoom_drive, [](std::int32_t direction, std::int32_t) { zoom_drive(direction); }},
    {RcAction::zoom_level, [](std::int32_t level, std::int32_t) { set_zoom(level); }},
    {RcAction::zoom_relative, [](std::int32_t change, std::int32_t) { set_zoom_relative(change); }},
    {RcAction::zoom_step,
     [](std::int32_t step, std::int32_t) { camera_builder_state().zoom_step = step; }},
    {RcAction::manual_focus, [](std::int32_t tenths, std::int32_t) { focus_manually(tenths); }},
    {RcAction::focus_point,
     [](std::int32_t x, std::int32_t y) { set_focus_point(x / 1000.0, y / 1000.0); }},
}};

static_assert(names_each_once(performer_rows, &PerformerRow::action));

constexpr auto performers = in_order_of(performer_rows, &PerformerRow::action);

} // namespace

void perform_rc_commands(const std::vector<RcCommand>& commands) {
    for (const RcCommand& command : commands)
        performers[static_cast<std::size_t>(command.action)].perform(command.a, command.b);
}

} // namespace fieldrelaybox
