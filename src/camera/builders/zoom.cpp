#include "camera/builders/zoom.h"

#include "apps/app_clients.h"
#include "camera/link/stored_frame.h"
#include "camera/state/camera_state.h"
#include "core/numbers.h"

#include <algorithm>
#include <mutex>

namespace fieldrelaybox {

namespace {

constexpr int largest_zoom_level = 100;

constexpr auto zoom_level_frame = make_frame_of(camera_command(0x34), 0x09, 0x00, 0x00, 100, 0x00);
constexpr auto zoom_in_frame = make_frame_of(camera_command(0xB8), 0x01, 0x48, 0x01, 0x00);
constexpr auto zoom_out_frame = make_frame_of(camera_command(0xB8), 0x01, 0x48, 0x00, 0x00);
constexpr auto zoom_stop_frame = make_frame_of(camera_command(0xB8), 0x00, 0x48, 0x00, 0x00);
constexpr auto zoom_stopped_frame = make_frame_of(camera_command(0xB8), 0xFF, 0x48, 0x00, 0x00);

static_assert(zoom_level_frame.size() == 18 && zoom_level_frame[3] == 0xC7);

// Remembering a level and sending it are one step, so that the camera ends on the level remembered.
std::mutex zoom_mutex;

int limit_zoom_level(std::int64_t level) {
    return static_cast<int>(std::clamp<std::int64_t>(level, 0, largest_zoom_level));
}

// zoom_mutex is held.
void send_zoom_level(int level) {
    if (camera_builder_state().zoom_level.exchange(level) == level)
        return;
    auto frame = zoom_level_frame;
    frame[frame_header_size + 3] = low_byte(level + 100);
    send_stored_frame_times(3, frame);
}

} // namespace

void set_zoom(int level) {
    const std::lock_guard lock(zoom_mutex);
    send_zoom_level(limit_zoom_level(level));
}

void set_zoom_relative(int change) {
    const std::lock_guard lock(zoom_mutex);
    send_zoom_level(limit_zoom_level(std::int64_t{current_zoom_level()} + change));
}

// Whose it is first: the RC loop reads the step first.
void set_zoom_step(int step, const sockaddr_in& app) {
    CameraBuilderState& state = camera_builder_state();
    state.zoom_step_app = app_key(app);
    state.zoom_step = step;
}

int current_zoom_step() {
    CameraBuilderState& state = camera_builder_state();
    int step = state.zoom_step;
    const std::uint64_t app = state.zoom_step_app;
    if (step != 0 && app != 0 && !is_registered_app(app))
        state.zoom_step.compare_exchange_strong(step, 0);
    return state.zoom_step;
}

int current_zoom_level() {
    return std::max(0, camera_builder_state().zoom_level.load());
}

void zoom_drive(int direction) {
    if (direction > 0)
        send_stored_frame(zoom_in_frame);
    else if (direction < 0)
        send_stored_frame(zoom_out_frame);
    else if (send_stored_frame(zoom_stop_frame))
        send_stored_frame(zoom_stopped_frame);
}

} // namespace fieldrelaybox
