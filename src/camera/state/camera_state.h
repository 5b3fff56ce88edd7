// The two process-wide records of the camera room: what the camera last reported, and what the
// command builders remember between commands. Every thread that drives the camera enters here.
// Single values are atomic; there is no lock.
//
// What overlays see lives in the status block instead, even where builders read it: focus point,
// AF-unlimited flag, manual-focus capability, work mode, timelapse interval and duration.
#pragma once

#include "core/clock.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>

namespace fieldrelaybox {

// Which shot the camera takes next; shot_kinds.h tells the pairs.
struct alignas(2) ShotKind { // aligned to be one lock-free atomic
    std::uint8_t mode = 0;   // 0..4
    std::uint8_t type = 0;   // 0..4
    friend constexpr bool operator==(const ShotKind&, const ShotKind&) = default;
};

// A kind that is none of them; no frame is sent for it.
inline constexpr ShotKind no_shot{0xFF, 0xFF};

inline constexpr std::int32_t no_video_format = -1;

// When records of one kind were last posted.
inline constexpr std::size_t posts_per_second = 10;

struct RecordPosts {
    std::array<std::int64_t, posts_per_second> times_ms{};
    std::size_t count = 0; // of all posts
};

// What the camera last reported. Zero until it has reported: neither in video nor in photo mode.
struct CameraState {
    // All are written by the telemetry receiver. When the link ends, the supervisor's thread clears
    // video_mode, photo_mode and interval_shooting (clear_live_link_bytes).
    std::atomic<bool> video_mode{false};         // read by record
    std::atomic<bool> photo_mode{false};         // read by shot
    std::atomic<ShotKind> shot_kind{};           // read by shot
    std::atomic<bool> autofocus{false};          // read by set_focus_type and the RC loop
    std::atomic<bool> interval_shooting{false};  // read by shot
    std::atomic<std::uint8_t> assistant_bits{0}; // 1 MF, 2 AF assistant; read by their commands

    // Largest manual-focus step, 0 while unknown. Read by the manual-focus builders and by the
    // RC loop, which leaves the focus type alone without it.
    std::atomic<std::int32_t> focus_range{0};

    // Resolution code x 256 + rate code, or no_video_format; only a later change is news. Read
    // by the telemetry receiver alone.
    std::atomic<std::int32_t> video_format{no_video_format};

    // One for each kind of long frame; only the telemetry receiver uses them.
    std::array<RecordPosts, 6> record_posts{};
};

CameraState& camera_state();

// Clears the status-block bytes that describe a live link and forgets what the camera was doing,
// here and in the status block: mode, recording, shooting, battery; the zoom step ends. Its
// settings stay as last reported. Called at start and when the link ends or finds another camera.
void clear_live_link_bytes();

// Held while the camera connects or is given up, each of which changes more than one value.
std::mutex& link_change_mutex();

inline constexpr std::int32_t no_zoom_level = -1;

inline constexpr std::uint32_t no_connection = UINT32_MAX;

struct alignas(8) GimbalPair { // aligned to be one lock-free atomic
    std::int32_t pan = 0;
    std::int32_t tilt = 0;
    friend bool operator==(const GimbalPair&, const GimbalPair&) = default;
};

// What the builders remember. "App commands" are the thread that
// performs them, one after the other.
struct CameraBuilderState {
    // The last speed asked for, and in which of the camera's connections (CameraLink). Written by
    // gimbal_speed, gimbal_move_for_app (app commands) and remote_control, read by the same and by
    // the RC loop, which carries the move on.
    std::atomic<GimbalPair> last_gimbal_pair{};
    std::atomic<std::uint32_t> gimbal_pair_connection{no_connection};

    // A stop was sent and the camera has not been heard since; when it was heard last, in which of
    // its connections, and whether neither a move nor the stop once more has been sent since. The
    // builders of the gimbal use them, all but the first under their mutex.
    std::atomic<bool> gimbal_stop_in_doubt{false};
    std::int64_t gimbal_stop_heard_ms = 0;
    std::uint32_t gimbal_stop_connection = 0;
    bool gimbal_stop_is_last = false;

    // The gimbal stands where it was sent: gimbal_move and gimbal_reset send no speed. Set by
    // gimbal_speed(0, 0), gimbal_move_for_app(0, 0) and gimbal_set_angle, cleared by the first two
    // with another pair; read by these builders and by the RC loop.
    std::atomic<bool> gimbal_hold{false};

    // 0 while the app's relative move is in progress, 1 when the app leaves the gimbal alone.
    // Written by app commands, by remote_control, whose live control ends such a move, and by the
    // RC loop when it takes the gimbal over; read by the RC loop.
    std::atomic<std::uint8_t> app_gimbal_idle{1};

    // Tells one relative move of an app from the next. Written with the flag above.
    std::atomic<std::int32_t> app_move_number{0};

    // Timer clock of the app's last absolute position command, and whether there was one.
    // Written by app commands (stamp first), read by the RC loop (flag first).
    std::atomic<std::int64_t> last_position_command_ms{0};
    std::atomic<bool> position_commanded{false};

    // 0..100, or no_zoom_level before the first. Written by set_zoom; read through
    // current_zoom_level by app commands, remote_control and the RC loop.
    std::atomic<std::int32_t> zoom_level{no_zoom_level};

    // Set by set_zoom_step, read through current_zoom_step by the RC loop, which moves the zoom
    // level by it; 0 stops. Ends with the link. The app that set it, as app_key tells: 0 for RC,
    // for siblings and for apps that are not registered.
    std::atomic<std::int32_t> zoom_step{0};
    std::atomic<std::uint64_t> zoom_step_app{0};

    // When the RC loop last changed the focus type for a focus knob; only that thread uses it.
    Interval focus_type_changes;
};

CameraBuilderState& camera_builder_state();

} // namespace fieldrelaybox
