#include "camera/builders/gimbal.h"

#include "camera/builders/button_frames.h"
#include "camera/link/stored_frame.h"
#include "camera/state/camera_state.h"
#include "config/config_record.h"
#include "core/clock.h"
#include "core/lanes.h"
#include "core/numbers.h"

#include <mutex>

namespace fieldrelaybox {

namespace {

constexpr auto speed_frame =
    make_frame_of(gimbal_command(0x0C), 0x00, 0x00, 0x00, 0x00, 0x80, 0x00, 0x90);
constexpr auto angle_frame =
    make_frame_of(gimbal_command(0x0A), 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x64, 0x00, 0xE0, 0x04);
constexpr ButtonFrame reset_press_frame =
    make_frame(button_command, ButtonPayload{0x00, 0x00, 0x00, 0x00, 0x0A});
constexpr ButtonFrame reset_release_frame = make_frame(button_command, ButtonPayload{});

static_assert(speed_frame.size() == 20 && speed_frame[3] == 0x6D);
static_assert(angle_frame.size() == 23 && angle_frame[3] == 0x38);

constexpr std::int64_t reset_pause_us = 100'000;

// A camera that is there sends several times as often.
constexpr std::int64_t longest_camera_pause_ms = 300;

// Looking at the hold flag and sending are one step: a stop must not be followed by the frame of a
// move that was decided before it. Never held across a pause of a sequence.
std::mutex gimbal_mutex;

// The caller holds gimbal_mutex, here and below. Whether a stop was the last order and nothing came
// from the camera for so long, until now, that it may have been away.
bool stop_met_silence(std::int64_t now) {
    const CameraBuilderState& state = camera_builder_state();
    return state.gimbal_stop_in_doubt && state.gimbal_stop_is_last &&
           now - state.gimbal_stop_heard_ms > longest_camera_pause_ms;
}

// A stop that may have been lost can be given again.
bool is_lost_stop(GimbalPair pair) {
    return pair == GimbalPair{} && (!camera_connected() || stop_met_silence(timer_clock()));
}

// False when the camera was told the pair last. What one was told that went away since counts for
// nothing.
bool remember_gimbal_pair(GimbalPair pair) {
    CameraBuilderState& state = camera_builder_state();
    const std::uint32_t connection = camera_link().connections;
    const bool changed = state.last_gimbal_pair.exchange(pair) != pair;
    return state.gimbal_pair_connection.exchange(connection) != connection || changed ||
           !camera_connected() || is_lost_stop(pair);
}

bool send_speed_frame(std::int64_t pan, std::int64_t tilt) {
    auto frame = speed_frame;
    put_u16le(frame.data() + frame_header_size, low_word(pan));
    put_u16le(frame.data() + frame_header_size + 4, low_word(tilt));
    return send_stored_frame(frame);
}

void doubt_stop() {
    CameraBuilderState& state = camera_builder_state();
    state.gimbal_stop_heard_ms = camera_link().last_datagram_ms;
    state.gimbal_stop_connection = camera_link().connections;
    state.gimbal_stop_is_last = true;
    state.gimbal_stop_in_doubt = true;
}

// A move takes the place of a stop that the camera which is there now has not got. One that nobody
// got is forgotten.
void note_move(bool sent) {
    CameraBuilderState& state = camera_builder_state();
    if (!sent)
        return;
    state.gimbal_stop_is_last = false;
    if (camera_link().connections != state.gimbal_stop_connection)
        state.gimbal_stop_in_doubt = false;
}

void send_speed(std::int64_t pan, std::int64_t tilt) {
    const bool sent = send_speed_frame(pan, tilt);
    if (pan == 0 && tilt == 0)
        doubt_stop();
    else
        note_move(sent);
}

// Another order ends the app's relative move. With the camera away the order is lost, and the
// gimbal must not go on by the old one.
void end_app_move() {
    if (camera_builder_state().app_gimbal_idle.exchange(1) == 0 && !camera_connected())
        doubt_stop();
}

void send_reversible_speed(std::int64_t pan, std::int64_t tilt) {
    const bool pan_reversed = load(config_record().rc_input_inverse_pan) != 0;
    const bool tilt_reversed = load(config_record().rc_input_inverse_tilt) != 0;
    send_speed(pan_reversed ? -pan : pan, tilt_reversed ? -tilt : tilt);
}

void send_angle(int a, int b) {
    auto frame = angle_frame;
    put_u16le(frame.data() + frame_header_size, low_word(a));
    put_u16le(frame.data() + frame_header_size + 4, low_word(b));
    note_move(send_stored_frame(frame));
}

bool press_reset_button() {
    return send_stored_frame(reset_press_frame) && send_stored_frame(reset_release_frame);
}

void press_reset_button_twice() {
    if (!press_reset_button())
        return;
    sleep_us(reset_pause_us);
    press_reset_button();
}

bool stop_unless_held() {
    const std::lock_guard lock(gimbal_mutex);
    note_move(camera_connected()); // the recentre, which a stop of before must not end
    return camera_builder_state().gimbal_hold || send_speed_frame(0, 0);
}

void announce_speed(GimbalPair pair) {
    if (!remember_gimbal_pair(pair))
        return;
    CameraBuilderState& state = camera_builder_state();
    if (pair != GimbalPair{})
        state.gimbal_hold = false;
    else if (!state.gimbal_hold.exchange(true) || is_lost_stop(pair))
        send_speed(0, 0);
}

} // namespace

void gimbal_speed(int pan, int tilt) {
    const std::lock_guard lock(gimbal_mutex);
    announce_speed({pan, tilt});
}

void gimbal_move(int pan, int tilt) {
    const std::lock_guard lock(gimbal_mutex);
    if (!camera_builder_state().gimbal_hold)
        send_reversible_speed(pan, tilt);
}

void gimbal_carry_on_app_move() {
    const std::lock_guard lock(gimbal_mutex);
    const CameraBuilderState& state = camera_builder_state();
    const GimbalPair pair = state.last_gimbal_pair;
    if (state.app_gimbal_idle == 0 && !state.gimbal_hold && pair != GimbalPair{})
        send_reversible_speed(pair.pan, pair.tilt);
}

void gimbal_speed_now(int pan, int tilt) {
    const std::lock_guard lock(gimbal_mutex);
    if (!remember_gimbal_pair({pan, tilt}))
        return;
    end_app_move();
    send_reversible_speed(pan, tilt);
}

void gimbal_set_angle(int a, int b) {
    const std::lock_guard lock(gimbal_mutex);
    end_app_move();
    camera_builder_state().gimbal_hold = true;
    send_angle(a, b);
}

// The RC loop is told first: a move that it still carried on would end the travel.
void gimbal_set_app_position(int a, int b) {
    const std::lock_guard lock(gimbal_mutex);
    CameraBuilderState& state = camera_builder_state();
    end_app_move();
    state.last_position_command_ms = timer_clock();
    state.position_commanded = true;
    send_angle(a, b);
}

void gimbal_move_for_app(int a, int b) {
    // The app's tilt points the other way; the smallest number has no opposite and stays itself.
    const GimbalPair pair{a, static_cast<int>(0U - static_cast<unsigned>(b))};
    const bool moves = pair != GimbalPair{};
    const std::lock_guard lock(gimbal_mutex);
    if (moves && !camera_connected()) {
        end_app_move();
        return;
    }
    CameraBuilderState& state = camera_builder_state();
    // The same speed again would not end the hold that an angle began.
    if (moves && state.gimbal_hold && state.last_gimbal_pair.load() == pair)
        announce_speed({});
    announce_speed(pair);
    ++state.app_move_number;
    state.app_gimbal_idle = moves ? 0 : 1; // last: the RC loop sends the pair announced
}

void gimbal_abandon_app_move(int number) {
    const std::lock_guard lock(gimbal_mutex);
    CameraBuilderState& state = camera_builder_state();
    if (state.app_move_number != number)
        return;
    announce_speed({});
    state.app_gimbal_idle = 1;
}

void gimbal_repeat_lost_stop() {
    CameraBuilderState& state = camera_builder_state();
    if (!state.gimbal_stop_in_doubt || !camera_connected())
        return;
    const std::lock_guard lock(gimbal_mutex);
    const std::int64_t heard_ms = camera_link().last_datagram_ms;
    const bool another = camera_link().connections != state.gimbal_stop_connection;
    if (state.gimbal_stop_in_doubt && (another || stop_met_silence(heard_ms))) {
        send_speed(0, 0);
        state.gimbal_stop_is_last = false; // once is enough for a camera that sends rarely
    } else if (heard_ms != state.gimbal_stop_heard_ms) {
        state.gimbal_stop_in_doubt = false;
    }
}

void gimbal_reset(bool quick) {
    if (quick) {
        if (stop_unless_held())
            send_stored_frame(periodic_b_frame);
        return;
    }
    // Moves stop at once; those that come while the buttons wait for their turn are newer.
    if (stop_unless_held())
        add_job(button_lane, {"recentre", press_reset_button_twice});
}

} // namespace fieldrelaybox
