#include "camera/builders/shooting.h"

#include "camera/builders/button_frames.h"
#include "camera/link/stored_frame.h"
#include "camera/state/camera_state.h"
#include "core/log.h"
#include "core/numbers.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <initializer_list>
#include <span>

namespace fieldrelaybox {

namespace {

constexpr auto mode_frame = make_frame_of(
    {.receiver = device::camera, .set = 0x02, .id = 0x10, .sender = device::buttons}, 0);
constexpr auto shot_format_frame = make_frame_of(camera_command(0x16), 0);
constexpr ButtonFrame stop_shot_frame =
    make_frame({.receiver = device::gimbal, .set = 0x01, .id = 0x01, .sender = device::buttons},
               button_payload({}));

constexpr std::uint8_t photo_mode = 0;
constexpr std::uint8_t video_mode = 1;

constexpr std::array<const char*, 3> shot_format_names{"RAW", "JPG", "JPG+RAW"};

// Shot frames by shot type, one table per shot mode.
constexpr std::array single_shots{
    button_frame({.bits = 0x30, .count = 1}),                // one photo
    button_frame({.bits = 0xD0, .count = 10, .kind = 0x01}), // after 10 s
    button_frame({.bits = 0x50, .count = 1}),                // HDR
};
constexpr std::array multiple_shots{
    button_frame({.bits = 0x90, .count = 3}),
    button_frame({.bits = 0x90, .count = 5}),
    button_frame({.bits = 0x90, .count = 7}),
    button_frame({.bits = 0xB0, .count = 3}), // bracketing
    button_frame({.bits = 0xB0, .count = 5}),
};
constexpr std::array interval_shots{
    button_frame({.bits = 0xD0, .count = 10, .kind = 0xFF}),
    button_frame({.bits = 0xD0, .count = 30, .kind = 0xFF}),
};
constexpr ButtonFrame panorama_shot = button_frame({.bits = 0xF0, .count = 0xFF});
constexpr std::array panorama_shots{panorama_shot, panorama_shot, panorama_shot, panorama_shot,
                                    button_frame({.bits = 0xF0, .count = 3})};
constexpr std::array<ButtonFrame, 1> timelapse_shots{
    button_frame({.bits = 0xD0, .count = 50, .kind = 0xFF})};

constexpr std::uint8_t timelapse_shot_mode = 4;
constexpr std::array<std::span<const ButtonFrame>, 5> shots_by_mode{
    single_shots, multiple_shots, interval_shots, panorama_shots, timelapse_shots};

constexpr bool have_checks(std::span<const ButtonFrame> shots,
                           std::initializer_list<std::uint8_t> checks) {
    return std::equal(
        shots.begin(), shots.end(), checks.begin(), checks.end(),
        [](const ButtonFrame& shot, std::uint8_t check) { return button_check_of(shot) == check; });
}
static_assert(have_checks(single_shots, {0xA0, 0x4A, 0xC0}));
static_assert(have_checks(multiple_shots, {0x02, 0x04, 0x06, 0x22, 0x24}));
static_assert(have_checks(interval_shots, {0xB4, 0xA0}));
static_assert(have_checks(panorama_shots, {0x9E, 0x9E, 0x9E, 0x9E, 0x62}));
static_assert(have_checks(timelapse_shots, {0x8C}));

// The frame of a shot kind, or null when there is none.
const ButtonFrame* shot_frame_of(ShotKind kind) {
    if (kind.mode >= shots_by_mode.size())
        return nullptr;
    const std::span<const ButtonFrame> shots = shots_by_mode[kind.mode];
    const std::size_t type = kind.mode == timelapse_shot_mode ? 0 : kind.type;
    return type < shots.size() ? &shots[type] : nullptr;
}

} // namespace

void set_mode_video() {
    set_mode(true);
}

bool set_mode(bool video) {
    log_line("set mode %s", video ? "video" : "photo");
    return send_stored_frame(mode_frame, video ? video_mode : photo_mode);
}

void record(bool start) {
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
    log_line("stop interval shoting");
    if (send_stored_frame_times(2, interval_stop_frame))
        send_stored_frame_times(2, idle_button_frame);
}

void shot() {
    if (camera_state().interval_shooting) {
        stop_interval_shooting();
        return;
    }
    const bool in_photo_mode = camera_state().photo_mode || set_mode(false);
    log_line("shot");
    const ButtonFrame* frame = shot_frame_of(camera_state().shot_kind);
    if (in_photo_mode && frame != nullptr && send_stored_frame_times(2, *frame))
        send_stored_frame_times(2, idle_button_frame);
}

void stop_shot() {
    log_line("stop shot");
    send_stored_frame_times(2, stop_shot_frame);
}

} // namespace fieldrelaybox
