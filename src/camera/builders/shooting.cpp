#include "camera/builders/shooting.h"

#include "camera/builders/button_frames.h"
#include "camera/link/stored_frame.h"
#include "camera/state/camera_state.h"
#include "camera/state/shot_kinds.h"
#include "core/log.h"
#include "core/numbers.h"

#include <algorithm>
#include <array>
#include <mutex>

namespace fieldrelaybox {

namespace {

constexpr auto mode_frame = make_frame_of(
    {.receiver = device::camera, .set = 0x02, .id = 0x10, .sender = device::buttons}, 0);
constexpr auto shot_format_frame = make_frame_of(camera_command(0x16), 0);
constexpr std::uint8_t photo_mode = 0;
constexpr std::uint8_t video_mode = 1;

constexpr std::array<const char*, 3> shot_format_names{"RAW", "JPG", "JPG+RAW"};

// What the grip's trigger would send for a kind of shot.
struct ShotButton {
    ShotKind kind;
    ButtonFrame frame;
    std::uint8_t check; // the last payload byte
};

constexpr ButtonFrame panorama_button = button_frame({.bits = 0xF0, .count = 0xFF});

constexpr std::array<ShotButton, 16> shot_buttons{{
    {{0, 0}, button_frame({.bits = 0x30, .count = 1}), 0xA0},
    {{0, 1}, button_frame({.bits = 0xD0, .count = 10, .kind = 0x01}), 0x4A},
    {{0, 2}, button_frame({.bits = 0x50, .count = 1}), 0xC0},
    {{1, 0}, button_frame({.bits = 0x90, .count = 3}), 0x02},
    {{1, 1}, button_frame({.bits = 0x90, .count = 5}), 0x04},
    {{1, 2}, button_frame({.bits = 0x90, .count = 7}), 0x06},
    {{1, 3}, button_frame({.bits = 0xB0, .count = 3}), 0x22},
    {{1, 4}, button_frame({.bits = 0xB0, .count = 5}), 0x24},
    {{2, 0}, button_frame({.bits = 0xD0, .count = 10, .kind = 0xFF}), 0xB4},
    {{2, 1}, button_frame({.bits = 0xD0, .count = 30, .kind = 0xFF}), 0xA0},
    {{3, 0}, panorama_button, 0x9E},
    {{3, 1}, panorama_button, 0x9E},
    {{3, 2}, panorama_button, 0x9E},
    {{3, 3}, panorama_button, 0x9E},
    {{3, 4}, button_frame({.bits = 0xF0, .count = 3}), 0x62},
    {timelapse_kind, button_frame({.bits = 0xD0, .count = 50, .kind = 0xFF}), 0x8C},
}};

static_assert(std::all_of(shot_buttons.begin(), shot_buttons.end(), [](const ShotButton& row) {
    return button_check_of(row.frame) == row.check;
}));

// The frame of a shot kind, or null when there is none.
constexpr const ButtonFrame* shot_frame_of(ShotKind kind) {
    const auto* row =
        std::find_if(shot_buttons.data(), shot_buttons.data() + shot_buttons.size(),
                     [kind](const ShotButton& button) { return button.kind == kind; });
    return row == shot_buttons.data() + shot_buttons.size() ? nullptr : &row->frame;
}

static_assert(std::all_of(shot_kinds.begin(), shot_kinds.end(), [](const ShotKindRow& row) {
    return shot_frame_of(row.kind) != nullptr;
}));

// The frames of one command do not mix with those of another: RC gives commands, too.
std::mutex trigger_mutex;

// trigger_mutex is held.
void press_interval_stop() {
    log_line("stop interval shoting");
    if (send_stored_frame_times(2, interval_stop_frame))
        send_stored_frame_times(2, idle_button_frame);
}

} // namespace

bool set_mode(bool video) {
    log_line("set mode %s", video ? "video" : "photo");
    return send_stored_frame(mode_frame, video ? video_mode : photo_mode);
}

void record(bool start) {
    const std::lock_guard lock(trigger_mutex);
    if (start) {
        const bool in_video_mode = camera_state().video_mode || set_mode(true);
        if (in_video_mode && send_stored_frame_times(2, record_start_frame))
            send_stored_frame_times(2, idle_button_frame);
    } else if (send_stored_frame_times(2, record_stop_frame)) {
        send_stored_frame(idle_button_frame);
    }
    log_line("record %s", start ? "start" : "stop");
}

void set_shot_mode(int format) {
    if (format < 0 || format >= static_cast<int>(shot_format_names.size()))
        return;
    log_line("set shot mode %s", shot_format_names[static_cast<std::size_t>(format)]);
    send_stored_frame(shot_format_frame, low_byte(format));
}

void stop_interval_shooting() {
    const std::lock_guard lock(trigger_mutex);
    press_interval_stop();
}

void shot() {
    const std::lock_guard lock(trigger_mutex);
    if (camera_state().interval_shooting)
        return press_interval_stop();
    const bool in_photo_mode = camera_state().photo_mode || set_mode(false);
    log_line("shot");
    const ButtonFrame* frame = shot_frame_of(camera_state().shot_kind);
    if (in_photo_mode && frame != nullptr && send_stored_frame_times(2, *frame))
        send_stored_frame_times(2, idle_button_frame);
}

} // namespace fieldrelaybox
