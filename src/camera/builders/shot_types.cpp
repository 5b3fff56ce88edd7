// The app's words for the kinds of shot.
#include "camera/builders/shooting.h"
#include "camera/link/stored_frame.h"
#include "camera/state/shot_kinds.h"
#include "core/log.h"
#include "core/numbers.h"
#include "core/shared_access.h"
#include "core/status_block.h"
#include "core/text.h"
#include "core/word_table.h"

#include <array>

namespace fieldrelaybox {

namespace {

using ShotTypePayload = std::array<std::uint8_t, 6>;

constexpr std::uint8_t timelapse_type = 2;

constexpr ShotTypePayload shot_type_payload(PhotoType type, std::uint8_t count,
                                            std::uint8_t timed_type, std::uint16_t period) {
    return {static_cast<std::uint8_t>(type),
            count,
            timed_type,
            count,
            static_cast<std::uint8_t>(period & 0xFF),
            static_cast<std::uint8_t>(period >> 8)};
}

// What a kind counts is told as a period of 1 s between several photos, of 10 s in panoramas.
constexpr std::uint16_t told_period(const ShotKindRow& row) {
    switch (row.photo_type) {
    case PhotoType::burst:
    case PhotoType::bracketing:
        return 1;
    case PhotoType::panorama:
        return 10;
    case PhotoType::single:
    case PhotoType::hdr:
    case PhotoType::timed:
        break;
    }
    return row.period;
}

constexpr ShotTypePayload shot_type_payload(const ShotKindRow& row) {
    return shot_type_payload(row.photo_type, row.count, 0, told_period(row));
}

constexpr ShotTypePayload timelapse_payload =
    shot_type_payload(PhotoType::timed, endless, timelapse_type, 50);

static_assert(shot_type_payload(*find_shot_kind("multiple", "aeb5")) ==
              ShotTypePayload{0x05, 0x05, 0x00, 0x05, 0x01, 0x00});
static_assert(shot_type_payload(*find_shot_kind("interval", "30s")) ==
              ShotTypePayload{0x06, 0xFF, 0x00, 0xFF, 0x1E, 0x00});
static_assert(timelapse_payload == ShotTypePayload{0x06, 0xFF, 0x02, 0xFF, 0x32, 0x00});

constexpr auto shot_type_frame = make_frame(camera_command(0x6A), ShotTypePayload{});
constexpr auto panorama_frame = make_frame_of(camera_command(0x6E), 0);
constexpr auto timelapse_frame = make_frame_of(camera_command(0x6C), 0x01, 0x04, 0x00, 0, 0, 0, 0,
                                               0x00, 0x00, 0xF9, 0xFF, 0x00, 0x00, 0x00, 0x00);
static_assert(shot_type_frame.size() == 19 && shot_type_frame[3] == 0x03);
static_assert(timelapse_frame.size() == 28 && timelapse_frame[3] == 0x1B);

int number_or_stored(const char* text, const std::uint16_t& stored) {
    const int number = parse_decimal(text);
    return number == -1 ? load(stored) : number;
}

void set_timelapse(const char* interval_text, const char* duration_text) {
    const int interval = number_or_stored(interval_text, status_block().timelapse_interval);
    const int duration = number_or_stored(duration_text, status_block().timelapse_duration);
    log_line("set timelapse interval %d duration %d", interval, duration);
    send_stored_frame(shot_type_frame, timelapse_payload);
    auto frame = timelapse_frame;
    put_u16le(frame.data() + frame_header_size + 3, low_word(std::int64_t{interval} * 10)); // 0.1 s
    put_u16le(frame.data() + frame_header_size + 5, low_word(duration));
    send_stored_frame(frame);
}

} // namespace

void set_shot_type(const char* kind, const char* value1, const char* value2) {
    log_line("set shot type %s %s", kind, value1);
    if (std::string_view(kind) == "timelapse")
        return set_timelapse(value1, value2);
    const ShotKindRow* row = find_shot_kind(kind, value1);
    if (row == nullptr)
        return;
    send_stored_frame(shot_type_frame, shot_type_payload(*row));
    if (row->photo_type == PhotoType::panorama)
        send_stored_frame(panorama_frame, row->panorama);
}

} // namespace fieldrelaybox
