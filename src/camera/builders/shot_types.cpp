// The app's words for the kinds of shot.
#include "camera/builders/shooting.h"
#include "camera/link/stored_frame.h"
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

struct ShotTypeRow {
    std::string_view kind;
    std::string_view word;
    ShotTypePayload payload;
};

constexpr std::array<ShotTypeRow, 10> shot_types{{
    {"single", "shot", {0x01, 0x01, 0x00, 0x01, 0x00, 0x00}},
    {"single", "10s", {0x06, 0x01, 0x00, 0x01, 0x0A, 0x00}},
    {"single", "hdr", {0x02, 0x01, 0x00, 0x01, 0x00, 0x00}},
    {"multiple", "3shots", {0x04, 0x03, 0x00, 0x03, 0x01, 0x00}},
    {"multiple", "5shots", {0x04, 0x05, 0x00, 0x05, 0x01, 0x00}},
    {"multiple", "7shots", {0x04, 0x07, 0x00, 0x07, 0x01, 0x00}},
    {"multiple", "aeb3", {0x05, 0x03, 0x00, 0x03, 0x01, 0x00}},
    {"multiple", "aeb5", {0x05, 0x05, 0x00, 0x05, 0x01, 0x00}},
    {"interval", "10s", {0x06, 0xFF, 0x00, 0xFF, 0x0A, 0x00}},
    {"interval", "30s", {0x06, 0xFF, 0x00, 0xFF, 0x1E, 0x00}},
}};
constexpr ShotTypePayload panorama_payload{0x07, 0xFF, 0x00, 0xFF, 0x0A, 0x00};
constexpr ShotTypePayload timelapse_payload{0x06, 0xFF, 0x02, 0xFF, 0x32, 0x00};

constexpr std::array<WordCode, 5> panoramas{{
    {"180", 0x05},
    {"360", 0x01},
    {"180self", 0x03},
    {"manual", 0x04},
    {"grid", 0x07},
}};

constexpr auto shot_type_frame = make_frame(camera_command(0x6A), ShotTypePayload{});
constexpr auto panorama_frame = make_frame_of(camera_command(0x6E), 0);
constexpr auto timelapse_frame = make_frame_of(camera_command(0x6C), 0x01, 0x04, 0x00, 0, 0, 0, 0,
                                               0x00, 0x00, 0xF9, 0xFF, 0x00, 0x00, 0x00, 0x00);
static_assert(shot_type_frame.size() == 19 && shot_type_frame[3] == 0x03);
static_assert(timelapse_frame.size() == 28 && timelapse_frame[3] == 0x1B);

void set_panorama(std::string_view word) {
    const WordCode* panorama = find_word(panoramas, word);
    if (panorama == nullptr)
        return;
    send_stored_frame(shot_type_frame, panorama_payload);
    send_stored_frame(panorama_frame, panorama->code);
}

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
    const std::string_view kind_word(kind);
    if (kind_word == "pano")
        set_panorama(value1);
    else if (kind_word == "timelapse")
        set_timelapse(value1, value2);
    for (const ShotTypeRow& row : shot_types) {
        if (row.kind == kind_word && row.word == value1)
            send_stored_frame(shot_type_frame, row.payload);
    }
}

} // namespace fieldrelaybox
