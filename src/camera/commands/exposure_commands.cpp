// Exposure and focus, as the apps' words ask for them.
#include "camera/commands/camera_commands.h"

#include "camera/builders/exposure.h"
#include "camera/builders/exposure_values.h"
#include "camera/builders/focus.h"
#include "camera/builders/gimbal_settings.h"
#include "camera/commands/command_words.h"
#include "core/numbers.h"

namespace fieldrelaybox {

namespace {

void handle_focus_type(const AppRequest& request) {
    static constexpr std::array<AppCommand, 3> types{{
        {"mf", [](const AppRequest&) { set_manual_focus_type_if_capable(); }},
        {"af", [](const AppRequest&) { set_focus_type(FocusType::automatic); }},
        {"afunlim", [](const AppRequest&) { set_focus_type(FocusType::automatic_unlimited); }},
    }};
    run_row(types, request.value1, request);
}

void handle_focus_point(const AppRequest& request) {
    set_focus_type(FocusType::automatic);
    set_focus_point(real(request.value1), real(request.values[1]));
}

} // namespace

void handle_exposure(const AppRequest& request) {
    static constexpr std::array<AppCommand, 3> params{{
        {"point", [](const AppRequest& point) { set_exposure_point(integer(point.value1)); }},
        {"center", [](const AppRequest&) { set_exposure_center(); }},
        {"auto",
         [](const AppRequest& lock) { run_switch(lock_words, lock.value1, set_exposure_lock); }},
    }};
    run_row(params, request.param, request);
}

void handle_focus(const AppRequest& request) {
    static constexpr std::array<AppCommand, 6> params{{
        {"type", handle_focus_type},
        {"point", handle_focus_point},
        {"manual",
         [](const AppRequest& focus) { set_manual_focus_from_app(integer(focus.value1)); }},
        {"mfa", [](const AppRequest& focus) { set_mf_assistant(integer(focus.value1)); }},
        {"afa", [](const AppRequest& focus) { set_af_assistant(integer(focus.value1)); }},
        {"realtime",
         [](const AppRequest& focus) { set_realtime_autofocus(integer(focus.value1)); }},
    }};
    run_row(params, request.param, request);
}

void handle_shutter(const AppRequest& request) {
    set_shutter(request.param.c_str());
}

void handle_aperture(const AppRequest& request) {
    set_aperture(to_float(real(request.param)));
}

void handle_iso(const AppRequest& request) {
    if (const IsoStep* step = find_word(iso_steps, request.param))
        set_iso(step->iso);
}

void handle_ev(const AppRequest& request) {
    set_ev(real(request.param));
}

void handle_exposure_mode(const AppRequest& request) {
    set_image_mode(request.param.c_str());
}

void handle_calibrate_focus(const AppRequest& /*request*/) {
    calibrate_focus();
}

} // namespace fieldrelaybox
