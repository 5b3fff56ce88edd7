// Video sizes and frame rates, and the modes that the app offers.
#include "camera/builders/image_settings.h"
#include "camera/link/stored_frame.h"
#include "core/log.h"
#include "core/word_table.h"

namespace fieldrelaybox {

namespace {

constexpr auto resolution_frame = make_frame_of(camera_command(0x18), 22, 2, 0x00, 0x00, 0x00);
constexpr auto resolution_store_frame = make_frame_of(camera_command(0xAF), 22, 2);

struct Resolution {
    int width;
    int height;
    std::uint8_t code;
};

constexpr std::array<Resolution, 5> resolutions{{
    {1280, 720, 4},
    {1920, 1080, 10},
    {2704, 1520, 24},
    {3840, 2160, 16},
    {4096, 2160, 22},
}};

struct FrameRate {
    int rate;
    std::uint8_t code;
};

constexpr std::array<FrameRate, 7> frame_rates{
    {{24, 1}, {25, 2}, {30, 3}, {48, 4}, {50, 5}, {60, 6}, {120, 7}}};

struct VideoMode {
    std::string_view word;
    int width;
    int height;
    int rate;
};

constexpr std::array<VideoMode, 21> video_modes{{
    {"4096x2160@25", 4096, 2160, 25},   {"4096x2160@24", 4096, 2160, 24},
    {"3840x2160@30", 3840, 2160, 30},   {"3840x2160@25", 3840, 2160, 25},
    {"3840x2160@24", 3840, 2160, 24},   {"2704x1520@30", 2704, 1520, 30},
    {"2704x1520@25", 2704, 1520, 25},   {"2704x1520@24", 2704, 1520, 24},
    {"1920x1080@60", 1920, 1080, 60},   {"1920x1080@50", 1920, 1080, 50},
    {"1920x1080@48", 1920, 1080, 48},   {"1920x1080@30", 1920, 1080, 30},
    {"1920x1080@25", 1920, 1080, 25},   {"1920x1080@24", 1920, 1080, 24},
    {"1280x720@60", 1280, 720, 60},     {"1280x720@50", 1280, 720, 50},
    {"1280x720@48", 1280, 720, 48},     {"1280x720@30", 1280, 720, 30},
    {"1280x720@25", 1280, 720, 25},     {"1280x720@24", 1280, 720, 24},
    {"1920x1080@120", 1920, 1080, 120},
}};

std::uint8_t resolution_code(int width, int height) {
    for (const Resolution& resolution : resolutions) {
        if (resolution.width == width && resolution.height == height)
            return resolution.code;
    }
    return 0;
}

std::uint8_t frame_rate_code(int rate) {
    for (const FrameRate& frame_rate : frame_rates) {
        if (frame_rate.rate == rate)
            return frame_rate.code;
    }
    return 0;
}

} // namespace

void set_video_resolution(int width, int height, int rate) {
    log_line("set video resolution %dx%d@%d", width, height, rate);
    const std::uint8_t size = resolution_code(width, height);
    const std::uint8_t speed = frame_rate_code(rate);
    if (send_stored_frame(resolution_frame, std::array<std::uint8_t, 5>{size, speed, 0, 0, 0}))
        send_stored_frame(resolution_store_frame, std::array{size, speed});
}

void set_video_resolution(std::string_view mode) {
    if (const VideoMode* found = find_word(video_modes, mode))
        set_video_resolution(found->width, found->height, found->rate);
}

} // namespace fieldrelaybox
