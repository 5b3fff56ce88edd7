#include "camera/state/camera_state.h"

#include "core/shared_access.h"
#include "core/status_block.h"

namespace fieldrelaybox {

namespace {
CameraState live_state;
CameraBuilderState builder_state;

// What the camera was doing: its settings stay as last reported.
void clear_live_camera_state() {
    live_state.video_mode = false;
    live_state.photo_mode = false;
    live_state.interval_shooting = false;
    StatusBlock& block = status_block();
    store<std::uint32_t>(block.camera_flags, 0);
    store<std::uint8_t>(block.recording, 0);
    store<std::uint16_t>(block.recording_time, 0);
    store<std::uint8_t>(block.photo_state, 0);
    store<std::uint8_t>(block.battery_percent, 0);
    store<std::uint16_t>(block.battery_voltage, 0);
    store<std::int16_t>(block.battery_current, 0);
}

} // namespace

CameraState& camera_state() {
    return live_state;
}

void clear_live_link_bytes() {
    StatusBlock& block = status_block();
    for (std::uint8_t* byte : {&block.link_byte_129, &block.link_byte_134, &block.link_byte_133,
                               &block.camera_flag_1881, &block.camera_flag_1882})
        store<std::uint8_t>(*byte, 0);
    clear_live_camera_state();
    builder_state.zoom_step = 0;
}

std::mutex& link_change_mutex() {
    static std::mutex mutex;
    return mutex;
}

CameraBuilderState& camera_builder_state() {
    return builder_state;
}

} // namespace fieldrelaybox
