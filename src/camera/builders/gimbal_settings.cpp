#include "camera/builders/gimbal_settings.h"

#include "camera/builders/button_frames.h"
#include "camera/link/stored_frame.h"
#include "core/log.h"
#include "core/numbers.h"
#include "core/word_table.h"

namespace fieldrelaybox {

namespace {

constexpr auto roll_frame = make_frame_of(gimbal_command(0x07), 0);
constexpr auto calibrate_start_frame = make_frame_of(
    {.receiver = device::gimbal, .set = 0x04, .id = 0x01, .sender = device::buttons, .type = 0x20},
    0x00, 0x04, 0x00, 0x04, 0x00, 0x04, 0x80, 0x00);
constexpr auto calibrate_frame = make_frame_of(gimbal_command(0x08));

// Each byte is one parameter; 0xFF leaves it alone.
constexpr auto parameter_frame =
    make_frame_of(gimbal_command(0x35), 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF);
constexpr std::array<WordCode, 3> scene_modes{{{"walk", 0}, {"sport", 2}, {"wearable", 3}}};

enum class GimbalParameter : std::uint8_t {
    scene_mode = 3,
    pitch_lock = 4,
    zoom_adjusted_smoothtrack = 5,
    realtime_autofocus = 6,
};

static_assert(calibrate_start_frame.size() == 21 && calibrate_start_frame[3] == 0xA9);
static_assert(calibrate_frame.size() == 13 && calibrate_frame[3] == 0x33);

void send_parameter(GimbalParameter parameter, std::uint8_t value) {
    auto frame = parameter_frame;
    frame[frame_header_size + static_cast<std::size_t>(parameter)] = value;
    send_stored_frame(frame);
}

} // namespace

void roll_horizont(std::int8_t step) {
    send_stored_frame(roll_frame, low_byte(step));
}

void calibrate_gimbal() {
    log_line("full calibrate");
    send_stored_frame(roll_frame, 0);
    send_stored_frame(calibrate_start_frame);
    send_stored_frame(calibrate_frame);
}

void set_scene_mode(std::string_view mode) {
    const WordCode* found = find_word(scene_modes, mode);
    if (found == nullptr)
        return;
    log_line("set scene mode %s", found->word.data());
    send_parameter(GimbalParameter::scene_mode, found->code);
}

void set_pitch_lock(bool locked) {
    log_line("set pitch %s", locked ? "lock" : "unlock");
    send_parameter(GimbalParameter::pitch_lock, locked ? 1 : 0);
}

void set_zoom_adjusted_smoothtrack(int value) {
    log_line("set Zoom Adjusted Smoothtrack to %d", value);
    send_parameter(GimbalParameter::zoom_adjusted_smoothtrack, low_byte(value));
}

void set_realtime_autofocus(int value) {
    log_line("set Real-time AF to %d", value);
    send_parameter(GimbalParameter::realtime_autofocus, low_byte(value));
}

void set_position_normal() {
    log_line("set position normal");
    send_stored_frame(selfie_frame);
    periodic_frame();
}

void set_position_selfie() {
    log_line("set position selfie");
    periodic_frame();
    send_stored_frame(selfie_frame);
}

} // namespace fieldrelaybox
