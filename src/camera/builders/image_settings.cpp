#include "camera/builders/image_settings.h"

#include "camera/link/stored_frame.h"
#include "config/settings_commands.h"
#include "core/log.h"
#include "core/numbers.h"
#include "core/text.h"
#include "core/word_table.h"

namespace fieldrelaybox {

namespace {

constexpr auto color_frame = make_frame_of(camera_command(0x42), 0);
constexpr auto white_balance_frame = make_frame_of(camera_command(0x2C), 0, 0);
constexpr auto aspect_frame = make_frame_of(camera_command(0x12), 0x00, 0);
constexpr auto standard_frame = make_frame_of(camera_command(0x66), 0);
constexpr auto antiflicker_frame = make_frame_of(camera_command(0x46), 0);
constexpr auto histogram_frame = make_frame_of(camera_command(0x60), 0);

// Three settings, each as key, length and value.
constexpr auto scene_frame =
    make_frame_of({.receiver = device::camera, .set = 0x00, .id = 0x05}, 0x03, 0x3A, 0x01, 0x00,
                  0x3C, 0x01, 0x00, 0x38, 0x01, 0x00);
static_assert(scene_frame.size() == 23);

constexpr std::array<WordCode, 11> colors{{
    {"d-log", 0x17},
    {"d-cinelike", 0x06},
    {"none", 0x00},
    {"art", 0x01},
    {"black white", 0x04},
    {"vivid", 0x05},
    {"beach", 0x0E},
    {"dream", 0x10},
    {"classic", 0x12},
    {"nostalgia", 0x13},
    {"portrait", 0x07},
}};

struct SceneRow {
    std::string_view word;
    std::array<std::uint8_t, 3> values; // of the keys 0x3A, 0x3C, 0x38
};

constexpr std::array<SceneRow, 4> scenes{{
    {"standard", {0x00, 0x00, 0x00}},
    {"scenery", {0x01, 0x00, 0x01}},
    {"soft", {0x00, 0x00, 0xFF}},
    {"custom", {0x01, 0x00, 0x00}},
}};

struct WhiteBalanceRow {
    std::string_view word;
    std::uint8_t mode;
    std::uint8_t temperature; // kelvin / 100
};

constexpr std::array<WhiteBalanceRow, 5> white_balances{{
    {"auto", 0x00, 0x44},
    {"sunny", 0x01, 0x30},
    {"cloudy", 0x02, 0x40},
    {"incandescent", 0x04, 0x44},
    {"neon", 0x05, 0x19},
}};
constexpr std::uint8_t custom_white_balance = 0x06;

constexpr std::array<WordCode, 2> aspects{{{"4:3", 0x00}, {"16:9", 0x01}}};
constexpr std::array<WordCode, 2> standards{{{"PAL", 0x00}, {"NTSC", 0x01}}};
constexpr std::array<WordCode, 3> antiflicker_modes{{{"auto", 0x00}, {"50", 0x01}, {"60", 0x02}}};

void send_white_balance(std::uint8_t mode, std::uint8_t temperature) {
    send_stored_frame(white_balance_frame, std::array{mode, temperature});
}

// Steps of 100 K from 2000 K on. Half a step below is still the first; what is colder sends
// nothing.
void send_custom_white_balance(const char* kelvin) {
    const std::int64_t steps = (std::int64_t{parse_decimal(kelvin)} - 2000) / 100;
    if (steps >= 0)
        send_white_balance(custom_white_balance, low_byte(steps + 20));
}

} // namespace

void set_color(const char* color) {
    log_line("set color %s", color);
    if (const WordCode* found = find_word(colors, color))
        send_stored_frame(color_frame, found->code);
}

void set_image_scene(const char* scene) {
    log_line("set image scene %s", scene);
    const SceneRow* found = find_word(scenes, scene);
    if (found == nullptr)
        return;
    auto frame = scene_frame;
    frame[frame_header_size + 3] = found->values[0];
    frame[frame_header_size + 6] = found->values[1];
    frame[frame_header_size + 9] = found->values[2];
    send_stored_frame(frame);
}

void set_white_balance(const char* mode, const char* kelvin) {
    log_line("set wb %s %s", mode, kelvin);
    if (std::string_view(mode) == "custom")
        send_custom_white_balance(kelvin);
    else if (const WhiteBalanceRow* found = find_word(white_balances, mode))
        send_white_balance(found->mode, found->temperature);
}

void set_video_aspect(const char* aspect) {
    const WordCode* found = find_word(aspects, aspect);
    if (found == nullptr)
        return;
    log_line("set image aspect ratio %s", aspect);
    const bool sent =
        send_stored_frame(aspect_frame, std::array<std::uint8_t, 2>{0x00, found->code});
    if (sent || found->word == "16:9")
        start_settings_command("killall -q display &");
}

void set_video_standard(const char* standard) {
    const WordCode* found = find_word(standards, standard);
    if (found == nullptr)
        return;
    log_line("set video standard %s", standard);
    if (send_stored_frame(standard_frame, found->code))
        send_stored_frame(standard_frame, found->code);
}

void set_antiflicker(const char* mode) {
    const WordCode* found = find_word(antiflicker_modes, mode);
    if (found == nullptr)
        return;
    log_line("set anti-flicker %s", mode);
    send_stored_frame(antiflicker_frame, found->code);
}

void set_histogram(bool on) {
    send_stored_frame(histogram_frame, on ? 1 : 0);
}

} // namespace fieldrelaybox
