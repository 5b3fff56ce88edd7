#include "camera/link/camera_link.h"

#include "camera/link/frame.h"
#include "core/clock.h"
#include "core/log.h"
#include "core/sockets.h"
#include "core/statistics.h"

#include <mutex>
#include <sys/socket.h>

namespace fieldrelaybox {

namespace {

constexpr int camera_buffer_bytes = 100;    // the kernel raises it to its minimum
constexpr int send_time_limit_ms = 100;     // a camera out of reach must not hold up every sender
constexpr int receive_time_limit_ms = 1000; // the receiver shows life that often
constexpr std::int64_t pause_after_frame_us = 5;

CameraLink link;

std::mutex send_mutex; // guards the counter, and keeps stamping and sending one step
std::uint8_t sequence_counter = 0;

// Apart from the sending, which can be held up by a full socket buffer: the telemetry receiver must
// go on reading.
std::mutex address_mutex;
sockaddr_in camera_address{};

sockaddr_in current_camera_address() {
    const std::lock_guard lock(address_mutex);
    return camera_address;
}

// send_mutex is held. Frames too short for a sequence number or a payload are stamped as far as
// they reach.
void stamp_frame(std::span<std::uint8_t> frame) {
    const std::uint8_t sequence = sequence_counter++;
    if (frame.size() > 6)
        frame[6] = sequence;
    if (frame.size() > 7)
        frame[7] = 0;
    const std::size_t checked = frame.size() - frame_check_size;
    put_u16le(frame.data() + checked, frame_check(frame.first(checked)));
}

} // namespace

CameraLink& camera_link() {
    return link;
}

void init_camera_link() {
    log_line("Init data source");
    set_camera_address(ipv4_address(INADDR_ANY, camera_port));
    link.connected = false;
    link.last_datagram_ms = timer_clock();
}

// Nobody sends before the port is had: the system would give the socket another one for good.
void open_camera_link(const std::function<void()>& before_try) {
    const int socket = open_udp_socket();
    set_socket_buffers(socket, camera_buffer_bytes, camera_buffer_bytes);
    set_send_timeout(socket, send_time_limit_ms);
    set_receive_timeout(socket, receive_time_limit_ms);
    await_port(socket, INADDR_ANY, camera_port, "listen for the camera", before_try);
    link.socket = socket;
}

void set_camera_address(const sockaddr_in& address) {
    const std::lock_guard lock(address_mutex);
    camera_address = address;
}

void send_camera_frame(std::span<std::uint8_t> frame) {
    if (frame.size() < frame_check_size)
        return;
    {
        const std::lock_guard lock(send_mutex);
        stamp_frame(frame);
        const sockaddr_in address = current_camera_address();
        const ssize_t sent = sendto(link.socket, frame.data(), frame.size(), 0,
                                    reinterpret_cast<const sockaddr*>(&address), sizeof address);
        count_sent(statistics().camera_out, sent);
    }
    sleep_us(pause_after_frame_us);
}

bool send_camera_frame_if_connected(std::span<std::uint8_t> frame) {
    if (!camera_connected()) {
        count(statistics().camera_not_connected);
        return false;
    }
    send_camera_frame(frame);
    return true;
}

} // namespace fieldrelaybox
