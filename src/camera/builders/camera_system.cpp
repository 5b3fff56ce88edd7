#include "camera/builders/camera_system.h"

#include "camera/link/stored_frame.h"
#include "core/log.h"
#include "core/numbers.h"

#include <mutex>

namespace fieldrelaybox {

namespace {

constexpr auto date_and_time_frame = make_frame_of(camera_command(0x54), 0, 0, 0, 0, 0, 0, 0);
constexpr auto format_card_frame = make_frame_of(camera_command(0x72));
constexpr auto wifi_mode_frame =
    make_frame_of({.receiver = device::wifi, .set = 0x07, .id = 0x10}, 0);
constexpr auto wifi_restart_frame =
    make_frame_of({.receiver = device::wifi, .set = 0x07, .id = 0x15});

// The supervisor's and an app's setting of the clock do not overtake each other.
std::mutex clock_mutex;

} // namespace

void set_date_and_time(int hour, int minute, int second, int day, int month, int year) {
    std::array<std::uint8_t, 7> payload{};
    put_u16le(payload.data(), low_word(year));
    payload[2] = low_byte(month);
    payload[3] = low_byte(day);
    payload[4] = low_byte(hour);
    payload[5] = low_byte(minute);
    payload[6] = low_byte(second);
    send_stored_frame(date_and_time_frame, payload);
}

void sync_camera_clock() {
    if (!camera_connected())
        return;
    const LocalDateTime time = local_date_time();
    const std::lock_guard lock(clock_mutex);
    if (time.year > 1900 && camera_link().clock_sync)
        set_date_and_time(time.hour, time.minute, time.second, time.day, time.month, time.year);
}

void set_camera_clock_for_app(const LocalDateTime& time) {
    const std::lock_guard lock(clock_mutex);
    camera_link().clock_sync = false;
    set_date_and_time(time.hour, time.minute, time.second, time.day, time.month, time.year);
}

void format_memory_card() {
    log_line("format microSD card");
    send_stored_frame(format_card_frame);
}

void set_camera_wifi_mode(const char* mode) {
    log_line("Set Osmo Wi-Fi mode to %s", mode);
    send_stored_frame(wifi_mode_frame, std::string_view(mode) == "5.8" ? 1 : 0);
    send_stored_frame(wifi_restart_frame);
}

} // namespace fieldrelaybox
