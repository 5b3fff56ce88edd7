#include "control/control_server.h"

#include "apps/app_clients.h"
#include "apps/app_sockets.h"
#include "apps/messages.h"
#include "camera/commands/remote_control.h"
#include "control/app_commands.h"
#include "control/command_queue.h"
#include "control/test_datagram.h"
#include "core/clock.h"
#include "core/exit_status.h"
#include "core/life_signs.h"
#include "core/log.h"
#include "core/log_senders.h"
#include "core/statistics.h"
#include "core/threads.h"
#include "media/relay.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <vector>

namespace fieldrelaybox {

namespace {

constexpr int socket_buffer_bytes = 10'000'000;
constexpr int socket_time_limit_ms = 100;
constexpr std::int64_t pause_after_failure_us = 5'000;
constexpr std::size_t datagram_capacity = 131'200;
constexpr std::size_t longest_command = 255;

// Twice what the longest list of bytes for the camera needs; the rest would only hold up others.
constexpr std::size_t longest_test_datagram = 8192;

// Control codes, byte 12 of a datagram.
enum class ControlCode : std::uint8_t {
    register_app = 0,
    remove_app = 1,
    local_video = 2,
    remote_control = 5,
    json_command = '{',
};

// The sender if it is registered now: it may have left when its command's turn comes.
sockaddr_in registered_app(const sockaddr_in& sender) {
    return is_registered_app(app_key(sender)) ? sender : sockaddr_in{};
}

// A private copy: the datagram's buffer is needed for the next one.
void queue_app_command(Bytes payload, const sockaddr_in& sender) {
    const auto* characters = reinterpret_cast<const char*>(payload.data());
    const std::size_t length = strnlen(characters, payload.size());
    if (length > longest_command) {
        count(statistics().commands_cut);
        log_limited_warning(log_limits().command_cut, timer_clock(),
                            "command cut to %zu characters", longest_command);
    }
    queue_command(
        [text = std::string(characters, std::min(length, longest_command)),
         app = registered_app(sender)] { dispatch_app_command(text.c_str(), text.size(), app); });
}

void register_app(Bytes arguments, const Endpoint& sender) {
    static constexpr std::uint8_t reply = 'B';
    const bool data_only = !arguments.empty() && arguments[0] == 1;
    if (add_app_client(sender, data_only, timer_clock()) == 1)
        send_to_app({&reply, 1}, sender.address);
}

void remove_app(const Endpoint& sender) {
    if (remove_app_client(sender) == 1)
        log_line("client %s:%d removed", sender.address_text.data(), sender.port);
}

// Missing arguments read as zero.
void queue_remote_control(Bytes arguments, const sockaddr_in& sender) {
    std::array<std::uint8_t, 5> bytes{};
    std::copy_n(arguments.begin(), std::min(arguments.size(), bytes.size()), bytes.begin());
    queue_command([bytes, app = registered_app(sender)] {
        remote_control(bytes[0], get_i16le(&bytes[1]), get_i16le(&bytes[3]), app);
    });
}

void queue_local_video(Bytes arguments) {
    queue_command([on = !arguments.empty() && arguments[0] != 0] { set_local_video(on); });
}

bool is_own_message(const sockaddr_in& sender) {
    return is_same_address(sender, ipv4_address(loopback_address, control_port));
}

void perform_control_message(Bytes payload, const Endpoint& sender) {
    // A bare header reads as a zero control code.
    const std::uint8_t code = payload.empty() ? 0 : payload[0];
    const Bytes arguments = payload.empty() ? payload : payload.subspan(1);
    switch (static_cast<ControlCode>(code)) {
    case ControlCode::register_app:
        register_app(arguments, sender);
        break;
    case ControlCode::remove_app:
        remove_app(sender);
        break;
    case ControlCode::local_video:
        queue_local_video(arguments);
        break;
    case ControlCode::remote_control:
        queue_remote_control(arguments, sender.address);
        break;
    case ControlCode::json_command:
        queue_app_command(payload, sender.address);
        break;
    }
}

void server_step(int socket, std::span<std::uint8_t> buffer) {
    show_life(Vital::control);
    sockaddr_in sender{};
    const auto datagram =
        receive_from({socket, statistics().control_in, pause_after_failure_us}, buffer, &sender);
    if (datagram)
        handle_app_datagram(*datagram, sender);
}

} // namespace

void init_device_discovery() {
    log_line("Init device discovery");
    const int socket = open_udp_socket();
    set_socket_buffers(socket, socket_buffer_bytes, socket_buffer_bytes);
    set_socket_timeouts(socket, socket_time_limit_ms);
    if (!bind_app_sockets(socket, control_port)) {
        log_error("discovery bind failed");
        std::_Exit(exit_already_running);
    }
    set_message_socket(socket);
    start_command_thread();
    start_service("control", [socket] {
        static std::array<std::uint8_t, datagram_capacity> buffer;
        while (true)
            run_guarded("control", [&] { server_step(socket, buffer); });
    });
}

void handle_app_datagram(Bytes datagram, const sockaddr_in& sender) {
    set_log_sender(sender.sin_addr.s_addr);
    if (!datagram.empty() && datagram[0] == '[') {
        const Bytes used = datagram.first(std::min(datagram.size(), longest_test_datagram));
        queue_command(
            [copy = std::vector(used.begin(), used.end())] { handle_test_datagram(copy); });
        return;
    }
    if (datagram.size() < message_header_size || datagram[0] != 'B' || is_own_message(sender))
        return;
    handle_control_message(datagram.subspan(message_header_size), endpoint_of(sender));
}

void handle_control_message(Bytes payload, const Endpoint& sender) {
    perform_control_message(payload, sender);
    // Afterwards: the registration counts for the app that it lets in.
    count_from_app(sender.address, message_header_size + payload.size());
}

} // namespace fieldrelaybox
