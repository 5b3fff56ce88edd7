// The one socket to the camera: who the camera is, whether it is there, and sending frames to it.
// Every sender of camera frames enters here; the telemetry receiver keeps the link state current.
#pragma once

#include "config/own_inputs.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <netinet/in.h>
#include <span>

namespace fieldrelaybox {

// Process-wide, one instance.
struct CameraLink {
    std::atomic<int> socket{-1}; // until the port is had, which the telemetry thread sees to
    std::atomic<bool> connected{false};
    std::atomic<std::uint32_t> connections{0};     // how often it became true
    std::atomic<std::int64_t> last_datagram_ms{0}; // meaningful only while connected
    std::uint16_t source_port =
        0; // of the camera, 0 until the first contact; telemetry thread only
    std::atomic<bool> clock_sync{true}; // the supervisor sets the camera's clock
};

CameraLink& camera_link();

// Forgets the camera of before; called once by init_data_source.
void init_camera_link();

// Opens the camera socket on port 5001, as soon as that can be had. Whoever sends meanwhile sends
// nothing: the frame counts as failed. Calls before_try before each try. For the telemetry thread.
void open_camera_link(const std::function<void()>& before_try);

// Whoever last sent to the camera socket; every frame goes there. Safe against concurrent senders.
void set_camera_address(const sockaddr_in& address);

inline bool camera_connected() {
    return camera_link().connected.load(std::memory_order_acquire);
}

// Stamps the shared sequence number and the frame check into frame (at least 2 and fewer than 65536
// bytes) and sends it, connected or not; then pauses 5 us. The result of the send is only counted.
void send_camera_frame(std::span<std::uint8_t> frame);

// The same while the camera is connected; otherwise does nothing and takes no sequence number.
// Returns whether the frame was sent.
bool send_camera_frame_if_connected(std::span<std::uint8_t> frame);

} // namespace fieldrelaybox
