#include "camera/commands/camera_commands.h"

#include "camera/builders/button_frames.h"
#include "camera/builders/camera_system.h"
#include "camera/builders/exposure.h"
#include "camera/builders/exposure_values.h"
#include "camera/builders/focus.h"
#include "camera/builders/gimbal.h"
#include "camera/builders/gimbal_settings.h"
#include "camera/builders/image_settings.h"
#include "camera/builders/playback.h"
#include "camera/builders/shooting.h"
#include "camera/builders/zoom.h"
#include "camera/commands/camera_command_request.h"
#include "camera/link/power.h"
#include "camera/link/stored_frame.h"
#include "camera/state/camera_state.h"
#include "config/config_record.h"
#include "core/log.h"
#include "core/numbers.h"
#include "core/text.h"
#include "core/word_table.h"

#include <array>
#include <cjson/cJSON.h>
#include <cstdlib>
#include <memory>

namespace fieldrelaybox {

namespace {

using Request = CameraCommandRequest;

int integer(const std::string& text) {
    return parse_decimal(text.c_str());
}

double real(const std::string& text) {
    return std::strtod(text.c_str(), nullptr);
}

// Runs the handler of the row that word names; a word that names none does nothing.
template<std::size_t Count>
void run_row(const std::array<CameraCommand, Count>& table, const std::string& word,
             const Request& request) {
    if (const CameraCommand* row = find_word(table, word))
        row->handle(request);
}

struct SwitchWord {
    std::string_view word;
    bool on;
};
using SwitchWords = std::array<SwitchWord, 2>;

constexpr SwitchWords mode_words{{{"video", true}, {"photo", false}}};
constexpr SwitchWords lock_words{{{"lock", true}, {"unlock", false}}};
constexpr SwitchWords record_words{{{"start", true}, {"stop", false}}};
constexpr SwitchWords number_words{{{"1", true}, {"0", false}}};

// Calls command with what word stands for; another word does nothing.
template<class Command>
void run_switch(const SwitchWords& words, const std::string& word, Command command) {
    if (const SwitchWord* found = find_word(words, word))
        command(found->on);
}

void handle_camera(const Request& request) {
    static constexpr std::array<CameraCommand, 3> params{{
        {"enable", [](const Request&) { set_camera_disabled(false); }},
        {"disable", [](const Request&) { set_camera_disabled(true); }},
        {"mode", [](const Request& camera) { run_switch(mode_words, camera.value1, set_mode); }},
    }};
    run_row(params, request.param, request);
}

void handle_horizont(const Request& request) {
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

void handle_exposure(const Request& request) {
    static constexpr std::array<CameraCommand, 3> params{{
        {"point", [](const Request& point) { set_exposure_point(integer(point.value1)); }},
        {"center", [](const Request&) { set_exposure_center(); }},
        {"auto",
         [](const Request& lock) { run_switch(lock_words, lock.value1, set_exposure_lock); }},
    }};
    run_row(params, request.param, request);
}

void handle_focus_type(const Request& request) {
    static constexpr std::array<CameraCommand, 3> types{{
        {"mf", [](const Request&) { set_manual_focus_type_if_capable(); }},
        {"af", [](const Request&) { set_focus_type(FocusType::automatic); }},
        {"afunlim", [](const Request&) { set_focus_type(FocusType::automatic_unlimited); }},
    }};
    run_row(types, request.value1, request);
}

void handle_focus_point(const Request& request) {
    set_focus_type(FocusType::automatic);
    set_focus_point(real(request.value1), real(request.value2));
}

void handle_focus(const Request& request) {
    static constexpr std::array<CameraCommand, 6> params{{
        {"type", handle_focus_type},
        {"point", handle_focus_point},
        {"manual", [](const Request& focus) { set_manual_focus_from_app(integer(focus.value1)); }},
        {"mfa", [](const Request& focus) { set_mf_assistant(integer(focus.value1)); }},
        {"afa", [](const Request& focus) { set_af_assistant(integer(focus.value1)); }},
        {"realtime", [](const Request& focus) { set_realtime_autofocus(integer(focus.value1)); }},
    }};
    run_row(params, request.param, request);
}

void handle_position_move(const Request& request) {
    if (!request.value1.empty() && !request.value2.empty())
        gimbal_set_app_position(integer(request.value1), integer(request.value2));
}

void handle_position(const Request& request) {
    static constexpr std::array<CameraCommand, 4> params{{
        {"move", handle_position_move},
        {"moverel",
         [](const Request& move) {
             gimbal_move_for_app(integer(move.value1), integer(move.value2));
         }},
        {"normal", [](const Request&) { set_position_normal(); }},
        {"selfie", [](const Request&) { set_position_selfie(); }},
    }};
    run_row(params, request.param, request);
}

void handle_zoom(const Request& request) {
    static constexpr std::array<CameraCommand, 3> params{{
        {"-1", [](const Request& zoom) { set_zoom_relative(integer(zoom.value1)); }},
        {"-2",
         [](const Request& zoom) { camera_builder_state().zoom_step = integer(zoom.value1); }},
        {"-3", [](const Request& zoom) { zoom_drive(integer(zoom.value1)); }},
    }};
    if (const CameraCommand* row = find_word(params, request.param))
        row->handle(request);
    else
        set_zoom(integer(request.value1));
}

void handle_orientation(const Request& request) {
    run_switch(lock_words, request.param, [&request](bool lock) {
        log_line("set orientation %s", request.param.c_str());
        gimbal_reset(lock);
    });
}

void handle_shot_mode(const Request& request) {
    static constexpr std::array<WordCode, 3> formats{{{"raw", 0}, {"jpg", 1}, {"jpg+raw", 2}}};
    if (const WordCode* format = find_word(formats, request.param))
        set_shot_mode(format->code);
}

void handle_shot(const Request& request) {
    handle_shot_mode(request);
    shot();
}

void handle_shot_type(const Request& request) {
    set_shot_type(request.param.c_str(), request.value1.c_str(), request.value2.c_str());
}

void handle_iso(const Request& request) {
    if (const IsoStep* step = find_word(iso_steps, request.param))
        set_iso(step->iso);
}

// "20240131235959": year, month, day, hour, minute, second; what is missing is 0.
void handle_time(const Request& request) {
    const auto field = [&request](std::size_t start, std::size_t length) {
        const std::string& digits = request.value1;
        return start < digits.size() ? integer(digits.substr(start, length)) : 0;
    };
    set_camera_clock_for_app({.day = field(6, 2),
                              .month = field(4, 2),
                              .year = field(0, 4),
                              .hour = field(8, 2),
                              .minute = field(10, 2),
                              .second = field(12, 2)});
}

void handle_power(const Request& request) {
    static constexpr std::array<CameraCommand, 4> params{{
        {"sleep", [](const Request&) { send_power_word(PowerWord::sleep); }},
        {"wakeup", [](const Request&) { send_power_word(PowerWord::wake_up); }},
        {"restart", [](const Request&) { send_power_word(PowerWord::restart); }},
        {"shutdown", [](const Request&) { send_power_word(PowerWord::shut_down); }},
    }};
    run_row(params, request.param, request);
}

void handle_wifi(const Request& request) {
    static constexpr std::array<CameraCommand, 1> params{{
        {"mode", [](const Request& wifi) { set_camera_wifi_mode(wifi.value1.c_str()); }},
    }};
    run_row(params, request.param, request);
}

constexpr std::array<CameraCommand, 34> commands{{
    {"camera", handle_camera},
    {"horizont", handle_horizont},
    {"exposure", handle_exposure},
    {"focus", handle_focus},
    {"position", handle_position},
    {"zoom", handle_zoom},
    {"orientation", handle_orientation},
    {"scenemode", [](const Request& request) { set_scene_mode(request.param); }},
    {"pitch",
     [](const Request& request) { run_switch(lock_words, request.param, set_pitch_lock); }},
    {"color", [](const Request& request) { set_color(request.param.c_str()); }},
    {"scene", [](const Request& request) { set_image_scene(request.param.c_str()); }},
    {"wb",
     [](const Request& request) {
         set_white_balance(request.param.c_str(), request.value1.c_str());
     }},
    {"shot", handle_shot},
    {"stopshot", [](const Request&) { stop_interval_shooting(); }},
    {"shotmode", handle_shot_mode},
    {"shottype", handle_shot_type},
    {"record", [](const Request& request) { run_switch(record_words, request.param, record); }},
    {"hystogram",
     [](const Request& request) { run_switch(number_words, request.param, set_histogram); }},
    {"video_mode", [](const Request& request) { set_image_mode(request.param.c_str()); }},
    {"shutter", [](const Request& request) { set_shutter(request.param.c_str()); }},
    {"aperture", [](const Request& request) { set_aperture(to_float(real(request.param))); }},
    {"iso", handle_iso},
    {"ev", [](const Request& request) { set_ev(real(request.param)); }},
    {"video_resolution", [](const Request& request) { set_video_resolution(request.param); }},
    {"video_aspect", [](const Request& request) { set_video_aspect(request.param.c_str()); }},
    {"video_std", [](const Request& request) { set_video_standard(request.param.c_str()); }},
    {"antiflicker", [](const Request& request) { set_antiflicker(request.param.c_str()); }},
    {"calibratefocus", [](const Request&) { calibrate_focus(); }},
    {"formatmicrosd", [](const Request&) { format_memory_card(); }},
    {"zoomadjustedsmoothtrack",
     [](const Request& request) { set_zoom_adjusted_smoothtrack(integer(request.value1)); }},
    {"time", handle_time},
    {"power", handle_power},
    {"wifi", handle_wifi},
    {"playback", [](const Request& request) { playback_command(request.param.c_str()); }},
}};

std::string text_member(const cJSON* tree, const char* name) {
    const char* text = cJSON_GetStringValue(cJSON_GetObjectItem(tree, name));
    return text == nullptr ? "" : text;
}

// Text that is not JSON gives an empty request.
Request parse_request(const char* text, std::size_t length) {
    const std::unique_ptr<cJSON, decltype(&cJSON_Delete)> tree(cJSON_ParseWithLength(text, length),
                                                               &cJSON_Delete);
    return {text_member(tree.get(), "cmd"), text_member(tree.get(), "param"),
            text_member(tree.get(), "value1"), text_member(tree.get(), "value2")};
}

} // namespace

std::span<const CameraCommand> camera_commands() {
    return commands;
}

void handle_camera_command(const char* text, std::size_t length) {
    const Request request = parse_request(text, length);
    run_row(commands, request.word, request);
}

} // namespace fieldrelaybox
