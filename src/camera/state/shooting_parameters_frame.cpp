// Exposure, picture and shot parameters, as the camera pushes them.
#include "apps/messages.h"
#include "camera/state/camera_state.h"
#include "camera/state/camera_state_frames.h"
#include "camera/state/shot_kinds.h"
#include "config/settings_commands.h"
#include "core/log.h"
#include "core/shared_access.h"
#include "core/status_block.h"

#include <algorithm>
#include <array>
#include <limits>

namespace fieldrelaybox {

namespace {

// Where the values stand in the payload; all single bytes unless noted.
enum Offset : std::uint8_t {
    aperture = 0,        // u16
    shutter = 2,         // u16
    shutter_decimal = 4, // digits behind the point
    iso_code = 5,
    ev_code = 6,
    photo_format = 12,
    resolution_code = 13,
    rate_code = 14,
    exposure_mode = 20,
    white_balance_mode = 23,
    white_balance_temperature = 24,
    color = 31,
    anti_flicker = 32,
    burst_count = 33,
    timed_type = 34,
    timed_count = 35,
    timed_period = 36,    // u16, s
    aperture_actual = 38, // u16
    shutter_actual = 40,  // u16
    shutter_actual_decimal = 42,
    iso_actual = 43, // u32
    ev_actual_code = 47,
    video_standard = 55,
    exposure_lock = 56,
    photo_type = 57,
    bracketing_count = 60,
    panorama_kind = 61,
    timelapse_interval = 75, // u16, 0.1 s; from here on in the long payload only
    timelapse_duration = 77, // u32, s
};

constexpr std::size_t long_payload_size = 91;

constexpr std::uint8_t timed_type_timelapse = 2;

// The parameters of a shot as the camera reports them.
struct ReportedShot {
    PhotoType type;
    std::uint8_t count; // of what the type counts
    std::uint16_t period;
    std::uint8_t panorama;
};

ReportedShot read_shot(Bytes payload) {
    const auto type = static_cast<PhotoType>(payload[photo_type]);
    switch (type) {
    case PhotoType::burst:
        return {type, payload[burst_count], 0, 0};
    case PhotoType::bracketing:
        return {type, payload[bracketing_count], 0, 0};
    case PhotoType::timed:
        return {type, payload[timed_count], get_u16le(&payload[timed_period]), 0};
    case PhotoType::panorama:
        return {type, endless, 0, payload[panorama_kind]};
    case PhotoType::single:
    case PhotoType::hdr:
        break;
    }
    return {type, 1, 0, 0};
}

// The delay of a single timed shot is not told apart: the camera keeps it.
bool is_shot(const ShotKindRow& row, const ReportedShot& shot) {
    return row.photo_type == shot.type && row.count == shot.count &&
           row.panorama == shot.panorama && (row.count == 1 || row.period == shot.period);
}

// What the grip's trigger would take now. A kind without a shot frame of its own is none: taking
// another kind than the camera shows would surprise.
ShotKind shot_kind_of(Bytes payload) {
    const ReportedShot shot = read_shot(payload);
    if (shot.type == PhotoType::timed && payload[timed_type] == timed_type_timelapse)
        return timelapse_kind;
    const auto* row =
        std::find_if(shot_kinds.begin(), shot_kinds.end(),
                     [&shot](const ShotKindRow& kind) { return is_shot(kind, shot); });
    return row == shot_kinds.end() ? no_shot : row->kind;
}

void note_video_format(Bytes payload) {
    const std::int32_t format = payload[resolution_code] << 8 | payload[rate_code];
    const std::int32_t before = camera_state().video_format.exchange(format);
    if (before == no_video_format || before == format)
        return;
    log_line("video format changed");
    start_settings_command("killall -q display &");
}

void store_exposure(Bytes payload) {
    StatusBlock& block = status_block();
    store(block.aperture, get_u16le(&payload[aperture]));
    store(block.aperture_actual, get_u16le(&payload[aperture_actual]));
    store(block.shutter, get_u16le(&payload[shutter]));
    store(block.shutter_actual, get_u16le(&payload[shutter_actual]));
    store(block.iso_actual, get_u32le(&payload[iso_actual]));
}

struct CopiedByte {
    std::uint8_t StatusBlock::*field;
    Offset offset;
};

constexpr std::array<CopiedByte, 10> copied_bytes{{
    {&StatusBlock::shutter_decimal, shutter_decimal},
    {&StatusBlock::shutter_actual_decimal, shutter_actual_decimal},
    {&StatusBlock::iso_code, iso_code},
    {&StatusBlock::ev_code, ev_code},
    {&StatusBlock::ev_actual_code, ev_actual_code},
    {&StatusBlock::exposure_mode, exposure_mode},
    {&StatusBlock::white_balance_mode, white_balance_mode},
    {&StatusBlock::white_balance_temperature, white_balance_temperature},
    {&StatusBlock::video_resolution_code, resolution_code},
    {&StatusBlock::video_rate_code, rate_code},
}};

// The camera counts in tenths of a second; the apps' words and the status block count in seconds.
void store_timelapse(Bytes payload) {
    const std::uint32_t duration = get_u32le(&payload[timelapse_duration]);
    const std::uint32_t longest = std::numeric_limits<std::uint16_t>::max();
    store(status_block().timelapse_interval,
          static_cast<std::uint16_t>(get_u16le(&payload[timelapse_interval]) / 10));
    store(status_block().timelapse_duration,
          static_cast<std::uint16_t>(std::min(duration, longest)));
}

using ParameterRecord = std::array<std::uint8_t, 31>;

ParameterRecord make_record(Bytes payload) {
    constexpr std::array<Offset, 15> bytes_from_5{
        shutter_decimal, iso_code,           ev_code,
        photo_format,    resolution_code,    rate_code,
        exposure_mode,   white_balance_mode, white_balance_temperature,
        color,           anti_flicker,       photo_type,
        burst_count,     bracketing_count,   panorama_kind};
    ParameterRecord record{code_of(RecordCode::shooting_parameters)};
    std::copy_n(&payload[aperture], 4, &record[1]); // with the shutter
    for (std::size_t i = 0; i < bytes_from_5.size(); ++i)
        record[5 + i] = payload[bytes_from_5[i]];
    record[20] = payload[timed_count];
    std::copy_n(&payload[timed_period], 2, &record[21]);
    std::copy_n(&payload[aperture_actual], 5, &record[23]); // with the shutter and its decimal
    const std::uint32_t iso = std::min<std::uint32_t>(get_u32le(&payload[iso_actual]), 0xFFFF);
    put_u16le(&record[28], static_cast<std::uint16_t>(iso));
    const unsigned ntsc = payload[video_standard] != 0 ? 1 : 0;
    const unsigned locked = payload[exposure_lock] != 0 ? 2 : 0;
    record[30] = static_cast<std::uint8_t>(ntsc | locked);
    return record;
}

} // namespace

void decode_shooting_parameters(Bytes payload, bool post) {
    store_exposure(payload);
    for (const CopiedByte& row : copied_bytes)
        store(status_block().*row.field, payload[row.offset]);
    if (payload.size() == long_payload_size)
        store_timelapse(payload);
    camera_state().shot_kind = shot_kind_of(payload);
    note_video_format(payload);
    if (post)
        post_message(make_record(payload), MessageKind::status);
}

} // namespace fieldrelaybox
