// Gimbal and zoom, as the apps' words ask for them.
#include "camera/commands/camera_commands.h"

#include "camera/builders/gimbal.h"
#include "camera/builders/gimbal_settings.h"
#include "camera/builders/zoom.h"
#include "camera/commands/command_words.h"
#include "core/log.h"

namespace fieldrelaybox {

namespace {

void handle_position_move(const AppRequest& request) {
    if (!request.value1.empty() && !request.values[1].empty())
        gimbal_set_app_position(integer(request.value1), integer(request.values[1]));
}

} // namespace

void handle_horizont(const AppRequest& request) {
    struct Roll {
        std::string_view word;
        const char* direction;
        std::int8_t step;
    };
    static constexpr std::array<Roll, 3> rolls{
        {{"cw", "clockwise", -3}, {"ccw", "contr-clockwise", 3}, {"zero", "to zero", 0}}};
    if (const Roll* roll = find_word(rolls, request.param)) {
        log_line("roll horizont %s", roll->direction);
        roll_horizont(roll->step);
    } else if (request.param == "calibrate") {
        calibrate_gimbal();
    }
}

void handle_position(const AppRequest& request) {
    static constexpr std::array<AppCommand, 4> params{{
        {"move", handle_position_move},
        {"moverel",
         [](const AppRequest& move) {
             gimbal_move_for_app(integer(move.value1), integer(move.values[1]));
         }},
        {"normal", [](const AppRequest&) { set_position_normal(); }},
        {"selfie", [](const AppRequest&) { set_position_selfie(); }},
    }};
    run_row(params, request.param, request);
}

void handle_zoom(const AppRequest& request) {
    static constexpr std::array<AppCommand, 3> params{{
        {"-1", [](const AppRequest& zoom) { set_zoom_relative(integer(zoom.value1)); }},
        {"-2", [](const AppRequest& zoom) { set_zoom_step(integer(zoom.value1), zoom.sender); }},
        {"-3", [](const AppRequest& zoom) { zoom_drive(integer(zoom.value1)); }},
    }};
    if (const AppCommand* row = find_word(params, request.param))
        row->handle(request);
    else
        set_zoom(integer(request.value1));
}

void handle_orientation(const AppRequest& request) {
    run_switch(lock_words, request.param, [&request](bool lock) {
        log_line("set orientation %s", request.param.c_str());
        gimbal_reset(lock);
    });
}

void handle_scene_mode(const AppRequest& request) {
    set_scene_mode(request.param);
}

void handle_pitch_lock(const AppRequest& request) {
    run_switch(lock_words, request.param, set_pitch_lock);
}

void handle_smoothtrack(const AppRequest& request) {
    set_zoom_adjusted_smoothtrack(integer(request.value1));
}

} // namespace fieldrelaybox
