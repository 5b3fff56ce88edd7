#include "camera/builders/focus.h"

#include "camera/link/stored_frame.h"
#include "camera/state/camera_state.h"
#include "core/log.h"
#include "core/numbers.h"
#include "core/shared_access.h"
#include "core/status_block.h"

#include <cmath>

namespace fieldrelaybox {

namespace {

constexpr auto focus_type_frame = make_frame_of(camera_command(0x24), 0);
constexpr auto focus_unlimited_frame = make_frame_of(camera_command(0xFA), 0);
constexpr auto focus_point_frame = make_frame_of(camera_command(0x30), 0, 0, 0, 0, 0, 0, 0, 0);
constexpr auto manual_focus_frame = make_frame_of(camera_command(0x95), 0, 0);
constexpr auto focus_assistant_frame = make_frame_of(camera_command(0x9A), 0);
constexpr auto calibrate_focus_frame = make_frame_of(camera_command(0xA4), 0x01, 0x01, 0x00);

static_assert(focus_point_frame.size() == 21 && focus_point_frame[3] == 0xA9);
static_assert(calibrate_focus_frame.size() == 16 && calibrate_focus_frame[3] == 0x56);

constexpr std::uint8_t mf_assistant_bit = 1;
constexpr std::uint8_t af_assistant_bit = 2;

void send_manual_focus_type() {
    log_line("set focus type MF");
    send_stored_frame(focus_type_frame, 0);
}

// A point that was never set is the centre.
void default_focus_point_to_center() {
    for (double* coordinate : {&status_block().focus_point_x, &status_block().focus_point_y}) {
        if (load(*coordinate) == 0.0)
            store(*coordinate, 0.5);
    }
}

void send_autofocus(bool unlimited) {
    store<std::uint8_t>(status_block().af_unlimited, unlimited ? 1 : 0);
    if (send_stored_frame(focus_type_frame, 1))
        send_stored_frame(focus_unlimited_frame, unlimited ? 1 : 0);
}

void send_manual_focus(std::int32_t step, double percent) {
    log_line("set manual focus %d (%1.0f%%)", step, percent);
    std::array<std::uint8_t, 2> payload{};
    put_u16le(payload.data(), low_word(step));
    send_stored_frame(manual_focus_frame, payload);
}

} // namespace

void set_focus_type(FocusType type) {
    switch (type) {
    case FocusType::manual:
        if (camera_state().autofocus)
            send_manual_focus_type();
        break;
    case FocusType::automatic:
        log_line("set focus type AF");
        default_focus_point_to_center();
        send_autofocus(false);
        break;
    case FocusType::automatic_unlimited:
        log_line("set focus type AF unlim");
        send_autofocus(true);
        break;
    }
}

void set_manual_focus_type_if_capable() {
    if (load(status_block().manual_focus_capable) != 0)
        send_manual_focus_type();
}

void set_focus_point(double x, double y) {
    log_line("set focus point %f,%f", x, y);
    std::array<std::uint8_t, 8> payload{};
    put_f32le(payload.data(), to_float(x));
    put_f32le(payload.data() + 4, to_float(y));
    send_stored_frame(focus_point_frame, payload);
}

void set_manual_focus(double percent) {
    const std::int32_t range = camera_state().focus_range;
    if (range != 0)
        send_manual_focus(limit_to_int32(range * 0.01 * percent), percent);
}

void set_manual_focus_from_app(int percent) {
    set_manual_focus_type_if_capable();
    const std::int32_t range = camera_state().focus_range;
    if (range != 0)
        send_manual_focus(limit_to_int32(std::round(range * 0.01 * percent)), percent);
}

void set_mf_assistant(int on) {
    log_line("set MF assistant to %d", on);
    const std::uint8_t other = camera_state().assistant_bits & af_assistant_bit;
    send_stored_frame(focus_assistant_frame, low_byte(on | other));
}

void set_af_assistant(int on) {
    log_line("set AF assistant to %d", on);
    const std::uint8_t other = camera_state().assistant_bits & mf_assistant_bit;
    send_stored_frame(focus_assistant_frame, low_byte(other + std::int64_t{on} * 2));
}

void calibrate_focus() {
    log_line("calibrate focus");
    send_stored_frame(calibrate_focus_frame);
}

} // namespace fieldrelaybox
