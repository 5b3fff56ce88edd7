#include "camera/state/telemetry_receiver.h"

#include "camera/link/camera_link.h"
#include "camera/link/frame.h"
#include "camera/link/power.h"
#include "camera/state/camera_state.h"
#include "camera/state/camera_state_frames.h"
#include "camera/state/gimbal_attitude.h"
#include "config/config_record.h"
#include "core/alarm.h"
#include "core/clock.h"
#include "core/ip_forwarding.h"
#include "core/life_signs.h"
#include "core/log.h"
#include "core/log_senders.h"
#include "core/sockets.h"
#include "core/statistics.h"
#include "core/status_block.h"
#include "core/threads.h"

#include <array>
#include <mutex>
#include <sys/socket.h>

namespace fieldrelaybox {

namespace {

constexpr std::size_t camera_datagram_capacity = 1500;
constexpr std::size_t shortest_frame = 15;
constexpr std::size_t longest_frame = 104;
constexpr std::int64_t pause_after_camera_failure_us = 500'000;

bool camera_is_ignored() {
    const ConfigRecord& record = config_record();
    return load(record.always_one) == 0 || load(record.camera_disabled) != 0;
}

// The camera's datagrams come from another port than before. The very first contact counts as that
// too.
void change_source(const sockaddr_in& sender) {
    set_log_sender(sender.sin_addr.s_addr);
    log_line("data disconnected");
    clear_live_link_bytes();
    store<std::uint8_t>(config_record().video_connected, 0);
    camera_link().connected = false;
    set_ip_forwarding(true);
}

void connect_camera(std::uint16_t port) {
    StatusBlock& block = status_block();
    camera_link().connections.fetch_add(1, std::memory_order_relaxed);
    camera_link().connected.store(true, std::memory_order_release);
    store<std::uint8_t>(block.link_byte_129, 0);
    store<std::uint8_t>(block.link_byte_134, 1);
    store<std::uint8_t>(block.link_byte_133, 1);
    store<std::uint8_t>(config_record().video_connected, 1);
    store(block.focus_point_x, 0.5);
    store(block.focus_point_y, 0.5);
    camera_link().source_port = port;
    set_ip_forwarding(false);
    ring(command_alarm);
}

// Frames that are not recognised by their length alone also name their command.
bool is_command(Bytes frame, std::uint8_t set, std::uint8_t id) {
    return frame[9] == set && frame[10] == id;
}

// The decoders of the short frames return whether they know the command.
bool decode_display_state(Bytes frame) {
    if (frame[8] != 0 || !is_command(frame, 0x09, 0x52))
        return false;
    // Payload byte 11 would be the first check byte of a 15-byte frame: the flag is frame byte 11.
    store<std::uint8_t>(status_block().camera_flag_1882, frame[frame_header_size] == 1 ? 1 : 0);
    return true;
}

bool decode_restart_request(Bytes frame) {
    constexpr std::uint8_t normal = 0x80;
    constexpr std::uint8_t restart_wanted = 0x84;
    if (frame[8] != 0)
        return false;
    const std::uint8_t value = frame[12];
    if (value == normal)
        store<std::uint8_t>(status_block().camera_flag_1881, 0);
    if (value == restart_wanted) {
        store<std::uint8_t>(status_block().camera_flag_1881, 1);
        send_power_word(PowerWord::restart);
    }
    return true;
}

bool decode_value_1648(Bytes frame) {
    store(status_block().camera_value_1648, get_u32le(&frame[12]));
    return true;
}

bool decode_attitude(Bytes frame) {
    if (!is_command(frame, 0x04, 0x05))
        return false;
    decode_gimbal_attitude(frame);
    return true;
}

// A frame whose length byte is its length; false when neither length nor command is known.
bool decode_whole_frame(Bytes frame, std::int64_t now) {
    switch (frame.size()) {
    case 15:
        return decode_display_state(frame);
    case 18:
        return decode_restart_request(frame);
    case 22:
        return decode_value_1648(frame);
    case 25:
        return decode_attitude(frame);
    default:
        return decode_camera_state_frame(frame, now);
    }
}

void receive_step(std::span<std::uint8_t> buffer) {
    show_life(Vital::telemetry);
    sockaddr_in sender{};
    const auto datagram =
        receive_from({camera_link().socket, statistics().camera_in, pause_after_camera_failure_us},
                     buffer, &sender);
    if (!datagram)
        return;
    if (!datagram->empty() && !camera_is_ignored()) {
        handle_camera_datagram(*datagram, sender, timer_clock());
        return;
    }
    // These tell where the camera is, too. They are not waited behind: the socket holds but a few,
    // and those that are there when the camera counts again would keep out the one that connects.
    set_camera_address(sender);
    count(datagram->empty() ? statistics().frames_too_short : statistics().frames_ignored);
}

} // namespace

void start_telemetry_receiver() {
    start_service("telemetry", [] {
        std::array<std::uint8_t, camera_datagram_capacity> buffer{};
        open_camera_link([] { show_life(Vital::telemetry); });
        while (true)
            run_guarded("telemetry", [&] { receive_step(buffer); });
    });
}

void handle_camera_datagram(Bytes datagram, const sockaddr_in& sender, std::int64_t now) {
    set_camera_address(sender);
    {
        const std::lock_guard lock(link_change_mutex());
        if (camera_link().source_port != ntohs(sender.sin_port))
            change_source(sender);
        if (!camera_connected())
            connect_camera(ntohs(sender.sin_port));
        camera_link().last_datagram_ms.store(now, std::memory_order_relaxed);
    }
    decode_camera_frame(datagram, now);
}

void decode_camera_frame(Bytes frame, std::int64_t now) {
    Statistics& counts = statistics();
    if (frame.size() < shortest_frame)
        count(counts.frames_too_short);
    else if (frame.size() > longest_frame)
        count(counts.frames_too_long);
    else if (frame[1] != frame.size())
        count(counts.frames_wrong_length);
    else
        count(decode_whole_frame(frame, now) ? counts.frames_accepted : counts.frames_unknown);
}

} // namespace fieldrelaybox
