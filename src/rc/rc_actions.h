// What the RC loop can want done: each action with the meaning of its numbers a and b, and how the
// command builders carry it out. Performers return at once: what takes long runs in a lane.
#pragma once

#include "camera/builders/exposure.h"
#include "camera/builders/exposure_values.h"
#include "camera/builders/focus.h"
#include "camera/builders/gimbal.h"
#include "camera/builders/gimbal_settings.h"
#include "camera/builders/shooting.h"
#include "camera/builders/zoom.h"
#include "camera/state/camera_state.h"
#include "core/enum_table.h"
#include "core/shared_access.h"
#include "core/status_block.h"
#include "rc/setting_flips.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace fieldrelaybox {

enum class RcAction : std::uint8_t {
    gimbal_speed,     // pan, tilt
    gimbal_move,      // pan, tilt
    app_move,         // once more what the app's relative move asks for
    end_app_move,     // the app's relative move is over
    abandon_app_move, // number of the move: the app is gone, the gimbal stops
    roll,             // signed step
    recentre,         //
    orientation,      // 1 lock, 0 unlock
    record,           // 1 start, 0 stop
    shot,             //
    flip_setting,     // FlippedSetting
    menu_active,      // 1 or 0
    exposure_mode,    // index: auto, shutter, aperture, manual
    ev,               // index of ev_values
    iso,              // index of iso_steps
    shutter,          // index of shutter_texts
    aperture,         // index of aperture_steps
    zoom_drive,       // direction
    zoom_level,       // 0..100
    zoom_relative,    // change of the level
    zoom_step,        // what the zoom step register becomes
    manual_focus,     // tenths of a percent
    focus_point,      // x, y in thousandths
};

inline constexpr auto rc_action_count = static_cast<std::size_t>(RcAction::focus_point) + 1;

struct RcCommand {
    RcAction action{};
    std::int32_t a = 0;
    std::int32_t b = 0;
    friend bool operator==(const RcCommand&, const RcCommand&) = default;
};

// A knob for manual focus means manual focus: the camera would not follow it in autofocus.
void focus_manually(std::int32_t tenths);

template<class Table> constexpr const auto& at(const Table& table, std::int32_t index) {
    return table[static_cast<std::size_t>(index)];
}

struct ActionRow {
    RcAction action;
    std::string_view name; // for tests and traces
    void (*perform)(std::int32_t a, std::int32_t b);
};

inline constexpr std::array<ActionRow, rc_action_count> rc_actions{{
    {RcAction::gimbal_speed, "speed",
     [](std::int32_t pan, std::int32_t tilt) { gimbal_speed(pan, tilt); }},
    {RcAction::gimbal_move, "move",
     [](std::int32_t pan, std::int32_t tilt) { gimbal_move(pan, tilt); }},
    {RcAction::app_move, "carry", [](std::int32_t, std::int32_t) { gimbal_carry_on_app_move(); }},
    {RcAction::end_app_move, "end",
     [](std::int32_t, std::int32_t) { camera_builder_state().app_gimbal_idle = 1; }},
    {RcAction::abandon_app_move, "abandon",
     [](std::int32_t number, std::int32_t) { gimbal_abandon_app_move(number); }},
    {RcAction::roll, "roll",
     [](std::int32_t step, std::int32_t) { roll_horizont(static_cast<std::int8_t>(step)); }},
    {RcAction::recentre, "recentre", [](std::int32_t, std::int32_t) { gimbal_reset(false); }},
    {RcAction::orientation, "lock",
     [](std::int32_t lock, std::int32_t) { gimbal_reset(lock != 0); }},
    {RcAction::record, "record", [](std::int32_t start, std::int32_t) { record(start != 0); }},
    {RcAction::shot, "shot", [](std::int32_t, std::int32_t) { shot(); }},
    {RcAction::flip_setting, "flip",
     [](std::int32_t setting, std::int32_t) {
         flip_and_save(static_cast<FlippedSetting>(setting));
     }},
    {RcAction::menu_active, "menu",
     [](std::int32_t active, std::int32_t) {
         store(status_block().rc_menu_active, static_cast<std::uint8_t>(active));
     }},
    {RcAction::exposure_mode, "mode",
     [](std::int32_t index, std::int32_t) { set_image_mode(at(image_modes, index).word.data()); }},
    {RcAction::ev, "ev", [](std::int32_t index, std::int32_t) { set_ev(at(ev_values, index)); }},
    {RcAction::iso, "iso",
     [](std::int32_t index, std::int32_t) { set_iso(at(iso_steps, index).iso); }},
    {RcAction::shutter, "shutter",
     [](std::int32_t index, std::int32_t) { set_shutter(at(shutter_texts, index).data()); }},
    {RcAction::aperture, "f",
     [](std::int32_t index, std::int32_t) { set_aperture(at(aperture_steps, index)); }},
    {RcAction::zoom_drive, "drive",
     [](std::int32_t direction, std::int32_t) { zoom_drive(direction); }},
    {RcAction::zoom_level, "level", [](std::int32_t level, std::int32_t) { set_zoom(level); }},
    {RcAction::zoom_relative, "change",
     [](std::int32_t change, std::int32_t) { set_zoom_relative(change); }},
    {RcAction::zoom_step, "zoomstep",
     [](std::int32_t step, std::int32_t) { set_zoom_step(step, {}); }},
    {RcAction::manual_focus, "focus",
     [](std::int32_t tenths, std::int32_t) { focus_manually(tenths); }},
    {RcAction::focus_point, "point",
     [](std::int32_t x, std::int32_t y) { set_focus_point(x / 1000.0, y / 1000.0); }},
}};

static_assert(names_each_once(rc_actions, &ActionRow::action));

} // namespace fieldrelaybox
