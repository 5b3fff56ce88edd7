#include "camera/state/camera_state_frames.h"

#include "apps/messages.h"
#include "camera/link/frame.h"
#include "camera/state/camera_state.h"
#include "core/clock.h"
#include "core/shared_access.h"
#include "core/status_block.h"

#include <algorithm>
#include <array>

namespace fieldrelaybox {

namespace {

constexpr std::int32_t shortest_post_interval_ms = 60; // ten a second may be unsteady

constexpr std::uint8_t camera_set = 0x02;
constexpr std::uint8_t battery_set = 0x05;

struct StateFrameKind {
    std::array<std::size_t, 2> frame_sizes;
    std::uint8_t set;
    std::uint8_t id;
    void (*decode)(Bytes payload, bool post);
};

constexpr std::array<StateFrameKind, 6> kinds{{
    {{49, 50}, camera_set, 0x80, decode_state},
    {{85, 104}, camera_set, 0x81, decode_shooting_parameters},
    {{54, 54}, camera_set, 0x82, decode_playback},
    {{77, 77}, camera_set, 0x83, decode_histogram},
    {{53, 59}, camera_set, 0x87, decode_lens},
    {{52, 52}, battery_set, 0x06, decode_battery},
}};

static_assert(kinds.size() == std::tuple_size_v<decltype(CameraState::record_posts)>);

bool may_post(RecordPosts& posts, std::int64_t now) {
    std::int64_t& tenth_last = posts.times_ms[posts.count % posts_per_second];
    const std::int64_t last =
        posts.times_ms[(posts.count + posts_per_second - 1) % posts_per_second];
    if (posts.count > 0 && !has_passed(now, last, shortest_post_interval_ms))
        return false;
    if (posts.count >= posts_per_second && !has_passed(now, tenth_last, 1000))
        return false;
    tenth_last = now;
    ++posts.count;
    return true;
}

bool is_kind(const StateFrameKind& kind, Bytes frame) {
    const bool size_fits =
        frame.size() == kind.frame_sizes[0] || frame.size() == kind.frame_sizes[1];
    return size_fits && frame[9] == kind.set && frame[10] == kind.id;
}

// Bits of the flag word of the state frame.
constexpr std::uint32_t card_present_bit = 0x200;
constexpr std::uint32_t interval_shooting_bit = 0x100000;

constexpr std::uint8_t photo_state_of(std::uint32_t flags) {
    return flags >> 3 & 7;
}

constexpr bool is_recording(std::uint32_t flags) {
    return (flags & 0xC0) != 0;
}

constexpr std::uint8_t card_state_of(std::uint32_t flags) {
    return flags >> 10 & 15;
}

constexpr std::uint8_t photo_work_mode = 0;
constexpr std::uint8_t video_work_mode = 1;

void store_state_flags(std::uint32_t flags) {
    StatusBlock& block = status_block();
    store(block.camera_flags, flags);
    store<std::uint8_t>(block.recording, is_recording(flags) ? 1 : 0);
    store(block.photo_state, photo_state_of(flags));
    store<std::uint8_t>(block.card_present, (flags & card_present_bit) != 0 ? 1 : 0);
    store(block.card_state, card_state_of(flags));
    camera_state().interval_shooting = (flags & interval_shooting_bit) != 0;
}

} // namespace

bool decode_camera_state_frame(Bytes frame, std::int64_t now) {
    for (std::size_t i = 0; i < kinds.size(); ++i) {
        if (!is_kind(kinds[i], frame))
            continue;
        const std::size_t payload_size = frame.size() - frame_header_size - frame_check_size;
        kinds[i].decode(frame.subspan(frame_header_size, payload_size),
                        may_post(camera_state().record_posts[i], now));
        return true;
    }
    return false;
}

// Payload: flag word u32, work mode at 4, card size, card free, photos left and recording time left
// (u32 each, from 5 on), recording time u16 at 29.
void decode_state(Bytes payload, bool post) {
    const std::uint32_t flags = get_u32le(payload.data());
    const std::uint8_t work_mode = payload[4];
    const std::uint16_t recording_time = get_u16le(&payload[29]);

    store_state_flags(flags);
    StatusBlock& block = status_block();
    store(block.camera_work_mode, work_mode);
    store(block.card_size, get_u32le(&payload[5]));
    store(block.card_free, get_u32le(&payload[9]));
    store(block.photos_left, get_u32le(&payload[13]));
    store(block.recording_time_left, get_u32le(&payload[17]));
    store(block.recording_time, recording_time);
    camera_state().video_mode = work_mode == video_work_mode;
    camera_state().photo_mode = work_mode == photo_work_mode;

    std::array<std::uint8_t, 24> record{code_of(RecordCode::camera_state), work_mode};
    put_u32le(&record[2], flags);
    std::copy_n(&payload[5], 16, &record[6]);
    put_u16le(&record[22], recording_time);
    if (post)
        post_message(record, MessageKind::status);
}

// Payload: percent, voltage u16 at 1, current i16 at 14.
void decode_battery(Bytes payload, bool post) {
    const std::uint8_t percent = payload[0];
    const std::uint16_t millivolts = get_u16le(&payload[1]);
    const std::int16_t milliamperes = get_i16le(&payload[14]);
    StatusBlock& block = status_block();
    store(block.battery_percent, percent);
    store(block.battery_voltage, millivolts);
    store(block.battery_current, milliamperes);
    if (post)
        post_status_words(RecordCode::battery, percent, static_cast<std::int16_t>(millivolts),
                          milliamperes);
}

// Payload: mode, file type u16 at 1, files on the page at 3, files in all u16 at 4.
void decode_playback(Bytes payload, bool post) {
    if (post)
        post_status_bytes(RecordCode::playback,
                          {payload[0], payload[1], payload[3], payload[4], payload[5], 0});
}

// Payload: 64 brightness values.
void decode_histogram(Bytes payload, bool post) {
    std::array<std::uint8_t, 65> record{code_of(RecordCode::histogram)};
    std::copy_n(payload.begin(), 64, record.begin() + 1);
    if (post)
        post_message(record, MessageKind::status);
}

} // namespace fieldrelaybox
