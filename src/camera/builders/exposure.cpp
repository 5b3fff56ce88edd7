#include "camera/builders/exposure.h"

#include "camera/builders/exposure_values.h"
#include "camera/link/stored_frame.h"
#include "core/log.h"
#include "core/numbers.h"
#include "core/word_table.h"

#include <algorithm>

namespace fieldrelaybox {

namespace {

constexpr auto ev_frame = make_frame_of(camera_command(0x2E), 0);
constexpr auto iso_frame = make_frame_of(camera_command(0x2A), 0);
constexpr auto shutter_frame = make_frame(camera_command(0x28), ShutterPayload{});
constexpr auto aperture_frame = make_frame_of(camera_command(0x26), 0x40, 0x06);
constexpr auto image_mode_frame = make_frame_of(camera_command(0x1E), 0, 0);
constexpr auto exposure_lock_frame = make_frame_of(camera_command(0x68), 0);
constexpr auto exposure_point_frame = make_frame_of(camera_command(0x32), 0);
constexpr auto exposure_center_frame = make_frame_of(camera_command(0x22), 0);

static_assert(shutter_frame.size() == 17 && shutter_frame[3] == 0x92);
static_assert(aperture_frame.size() == 15 && aperture_frame[3] == 0xA2);

void end_exposure_lock() {
    log_line("set auto exposure off");
    send_stored_frame(exposure_lock_frame, 0);
}

} // namespace

void set_ev(double value) {
    log_line("set EV %1.1f", value);
    const auto* found = std::find(ev_values.begin(), ev_values.end(), value);
    if (found != ev_values.end())
        send_stored_frame(ev_frame, low_byte(lowest_ev_code + (found - ev_values.begin())));
}

void set_iso(int iso) {
    log_line("set iso %d", iso);
    const auto* found = std::find_if(iso_steps.begin(), iso_steps.end(),
                                     [iso](const IsoStep& step) { return step.iso == iso; });
    send_stored_frame(iso_frame, found == iso_steps.end() ? iso_steps[0].code : found->code);
}

void set_shutter(const char* text) {
    log_line("set shutter %s", text);
    const bool known =
        std::find(shutter_texts.begin(), shutter_texts.end(), text) != shutter_texts.end();
    send_stored_frame(shutter_frame, known ? encode_shutter(text) : ShutterPayload{0x01, 0, 0, 0});
}

void set_aperture(float f_number) {
    log_line("set aperture %1.2f", static_cast<double>(f_number));
    // Single precision, so that 2.8 gives 280 and not 279.
    const float hundredths = f_number * 100.0F;
    std::array<std::uint8_t, 2> payload{};
    put_u16le(payload.data(), low_word(limit_to_integer(hundredths, 0, 0xFFFF)));
    send_stored_frame(aperture_frame, payload);
}

void set_image_mode(const char* mode) {
    log_line("set image mode %s", mode);
    if (const WordCode* found = find_word(image_modes, mode))
        send_stored_frame(image_mode_frame, std::array<std::uint8_t, 2>{found->code, 0x00});
}

void set_exposure_lock(bool locked) {
    log_line("set auto exposure %s", locked ? "locked" : "unlocked");
    send_stored_frame(exposure_lock_frame, locked ? 1 : 0);
}

void set_exposure_point(int index) {
    end_exposure_lock();
    log_line("set exposure point %d", low_byte(index));
    send_stored_frame(exposure_point_frame, low_byte(index));
}

void set_exposure_center() {
    end_exposure_lock();
    log_line("set exposure to center");
    send_stored_frame(exposure_center_frame);
}

} // namespace fieldrelaybox
