#include "camera/builders/playback.h"

#include "camera/builders/button_frames.h"
#include "camera/link/stored_frame.h"
#include "core/clock.h"
#include "core/lanes.h"
#include "core/log.h"
#include "core/shared_access.h"
#include "core/status_block.h"
#include "core/word_table.h"

#include <algorithm>
#include <string>

namespace fieldrelaybox {

namespace {

// The same button is told to the camera and then to the gimbal.
struct ButtonPair {
    ButtonFrame first;
    ButtonFrame second;
};

constexpr ButtonFrame playback_frame(std::uint8_t receiver, const ButtonPayload& payload) {
    return make_frame(
        {.receiver = receiver, .set = 0x01, .id = 0x01, .sender = device::buttons, .type = 0x00},
        with_button_check(payload));
}

// Payload bytes 0-3: which button; 6: 0x0D, or 0x0F for the second half of a long press; 7: what to
// do with it.
constexpr ButtonPair button_pair(std::array<std::uint8_t, 4> button, std::uint8_t phase = 0x0D,
                                 std::uint8_t action = 0x00,
                                 std::uint8_t second_receiver = device::gimbal) {
    const ButtonPayload payload{button[0], button[1], button[2], button[3], 0x00,
                                0x91,      phase,     action,    0x00,      0};
    return {playback_frame(device::camera, payload), playback_frame(second_receiver, payload)};
}

constexpr int any_work_mode = -1;
constexpr int tuning_work_mode = 4;

struct PlaybackRow {
    std::string_view word;
    int work_mode;      // of the camera; the first row that fits counts
    std::uint8_t check; // the last payload byte of the press
    ButtonPair press;
};

constexpr std::array<PlaybackRow, 12> playback_words{{
    {"enter", any_work_mode, 0x9F, button_pair({0x03, 0x00, 0x00, 0x00})},
    {"exit", any_work_mode, 0x9D, button_pair({0x01, 0x00, 0x00, 0x00})},
    {"list", any_work_mode, 0x94, button_pair({0x00, 0x00, 0x00, 0x08})},
    {"cancel", any_work_mode, 0x9D, button_pair({0x00, 0x00, 0x01, 0x00})},
    {"next", any_work_mode, 0xBC, button_pair({0x00, 0x00, 0x20, 0x00})},
    {"prev", any_work_mode, 0xDC, button_pair({0x00, 0x00, 0x40, 0x00})},
    // Both go to the camera: the gimbal does not take this one.
    {"play", any_work_mode, 0x9E,
     button_pair({0x00, 0x00, 0x02, 0x00}, 0x0D, 0x00, device::camera)},
    {"selectmode", any_work_mode, 0x98, button_pair({0x00, 0x00, 0x04, 0x00})},
    {"selectall", any_work_mode, 0x41, button_pair({0x00, 0x00, 0x00, 0x20}, 0x0D, 0xFD)},
    {"deselectall", any_work_mode, 0x40, button_pair({0x00, 0x00, 0x00, 0x20}, 0x0D, 0xFC)},
    // This mode may want frames of its own; until they are known it gets those of the others.
    {"delete", tuning_work_mode, 0x98, button_pair({0x00, 0x00, 0x04, 0x00})},
    {"delete", any_work_mode, 0x98, button_pair({0x00, 0x00, 0x04, 0x00})},
}};

constexpr ButtonPair release_pair = button_pair({0x00, 0x00, 0x00, 0x00});
constexpr ButtonPair back_press = button_pair({0x00, 0x00, 0x00, 0x01});
constexpr ButtonPair back_hold = button_pair({0x00, 0x00, 0x00, 0x00}, 0x0F);

constexpr bool has_check(const ButtonPair& pair, std::uint8_t check) {
    return button_check_of(pair.first) == check && button_check_of(pair.second) == check;
}
static_assert(std::all_of(playback_words.begin(), playback_words.end(),
                          [](const PlaybackRow& row) { return has_check(row.press, row.check); }));
static_assert(has_check(release_pair, 0x9C));
static_assert(has_check(back_press, 0x9D) && has_check(back_hold, 0x9E));

constexpr std::int64_t frame_pause_us = 10'000;
constexpr std::int64_t press_pause_us = 100'000;
constexpr std::int64_t long_press_us = 2'500'000;
constexpr std::int64_t long_release_us = 1'200'000;
constexpr int press_count = 3;
constexpr int long_press_count = 5;

// The pauses are kept while the camera is away, so that a command takes as long as ever.
void send_pairs(int count, const ButtonPair& pair) {
    for (int i = 0; i < count; ++i) {
        send_stored_frame(pair.first);
        sleep_us(frame_pause_us);
        send_stored_frame(pair.second);
        sleep_us(frame_pause_us);
    }
}

void press(const ButtonPair& pair) {
    send_pairs(press_count, pair);
    sleep_us(press_pause_us);
    send_pairs(press_count, release_pair);
}

void press_back_long() {
    send_pairs(long_press_count, back_press);
    sleep_us(press_pause_us);
    send_pairs(long_press_count, release_pair);
    sleep_us(long_press_us);
    send_pairs(long_press_count, back_hold);
    sleep_us(long_release_us);
    send_pairs(long_press_count, release_pair);
}

constexpr std::string_view back_word = "back";

bool is_playback_word(std::string_view word) {
    return word == back_word || find_word(playback_words, word) != nullptr;
}

void press_button_of(std::string_view word) {
    if (word == back_word)
        return press_back_long();
    const int work_mode = load(status_block().camera_work_mode);
    const auto* const row = std::find_if(
        playback_words.begin(), playback_words.end(), [word, work_mode](const PlaybackRow& entry) {
            return entry.word == word &&
                   (entry.work_mode == any_work_mode || entry.work_mode == work_mode);
        });
    if (row != playback_words.end())
        press(row->press);
}

} // namespace

void playback_command(const char* word) {
    log_line("playback command: %s", word);
    if (!is_playback_word(word))
        return;
    add_job(button_lane, {"", [text = std::string(word)] { press_button_of(text); }});
}

} // namespace fieldrelaybox
