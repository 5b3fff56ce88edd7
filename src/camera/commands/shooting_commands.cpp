// Photo, video and playback, as the apps' words ask for them.
#include "camera/commands/camera_commands.h"

#include "camera/builders/playback.h"
#include "camera/builders/shooting.h"
#include "camera/commands/command_words.h"

namespace fieldrelaybox {

void handle_shot(const AppRequest& request) {
    handle_shot_mode(request);
    shot();
}

void handle_stop_shot(const AppRequest& /*request*/) {
    stop_interval_shooting();
}

void handle_shot_mode(const AppRequest& request) {
    static constexpr std::array<WordCode, 3> formats{{{"raw", 0}, {"jpg", 1}, {"jpg+raw", 2}}};
    if (const WordCode* format = find_word(formats, request.param))
        set_shot_mode(format->code);
}

void handle_shot_type(const AppRequest& request) {
    set_shot_type(request.param.c_str(), request.value1.c_str(), request.values[1].c_str());
}

void handle_record(const AppRequest& request) {
    run_switch(record_words, request.param, record);
}

void handle_playback(const AppRequest& request) {
    playback_command(request.param.c_str());
}

} // namespace fieldrelaybox
