// How the camera is set up, as the apps' words ask for it.
#include "camera/commands/camera_commands.h"

#include "camera/builders/camera_system.h"
#include "camera/builders/image_settings.h"
#include "camera/builders/shooting.h"
#include "camera/commands/command_words.h"
#include "camera/link/power.h"
#include "config/config_record.h"

namespace fieldrelaybox {

void handle_camera(const AppRequest& request) {
    static constexpr std::array<AppCommand, 3> params{{
        {"enable", [](const AppRequest&) { set_camera_disabled(false); }},
        {"disable", [](const AppRequest&) { set_camera_disabled(true); }},
        {"mode", [](const AppRequest& camera) { run_switch(mode_words, camera.value1, set_mode); }},
    }};
    run_row(params, request.param, request);
}

void handle_color(const AppRequest& request) {
    set_color(request.param.c_str());
}

void handle_scene(const AppRequest& request) {
    set_image_scene(request.param.c_str());
}

void handle_white_balance(const AppRequest& request) {
    set_white_balance(request.param.c_str(), request.value1.c_str());
}

void handle_histogram(const AppRequest& request) {
    run_switch(number_words, request.param, set_histogram);
}

void handle_video_resolution(const AppRequest& request) {
    set_video_resolution(request.param);
}

void handle_video_aspect(const AppRequest& request) {
    set_video_aspect(request.param.c_str());
}

void handle_video_standard(const AppRequest& request) {
    set_video_standard(request.param.c_str());
}

void handle_antiflicker(const AppRequest& request) {
    set_antiflicker(request.param.c_str());
}

void handle_format_card(const AppRequest& /*request*/) {
    format_memory_card();
}

// "20240131235959": year, month, day, hour, minute, second; what is missing is 0.
void handle_time(const AppRequest& request) {
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

void handle_power(const AppRequest& request) {
    static constexpr std::array<AppCommand, 4> params{{
        {"sleep", [](const AppRequest&) { send_power_word(PowerWord::sleep); }},
        {"wakeup", [](const AppRequest&) { send_power_word(PowerWord::wake_up); }},
        {"restart", [](const AppRequest&) { send_power_word(PowerWord::restart); }},
        {"shutdown", [](const AppRequest&) { send_power_word(PowerWord::shut_down); }},
    }};
    run_row(params, request.param, request);
}

void handle_wifi(const AppRequest& request) {
    static constexpr std::array<AppCommand, 1> params{{
        {"mode", [](const AppRequest& wifi) { set_camera_wifi_mode(wifi.value1.c_str()); }},
    }};
    run_row(params, request.param, request);
}

} // namespace fieldrelaybox
