#include "media/media_receiver.h"

#include "core/clock.h"
#include "core/sockets.h"
#include "core/threads.h"

#include <cerrno>
#include <string>
#include <sys/socket.h>
#include <vector>

namespace fieldrelaybox {

namespace {

constexpr int receive_time_limit_ms = 1000;

void receive_step(const MediaReceiver& receiver, int socket, std::vector<std::uint8_t>& buffer) {
    show_life(receiver.vital);
    const ssize_t length = recv(socket, buffer.data(), buffer.size(), 0);
    if (length < 0 && errno == EAGAIN)
        return;
    if (length >= 0)
        count_received(statistics().*receiver.count, static_cast<std::size_t>(length));
    if (length <= 0)
        sleep_us(receiver.pause_us);
    else
        receiver.handle(Bytes(buffer).first(static_cast<std::size_t>(length)));
}

} // namespace

void start_media_receiver(const MediaReceiver& receiver) {
    const int socket = open_udp_socket();
    if (receiver.buffer_bytes > 0)
        set_socket_buffers(socket, receiver.buffer_bytes, receiver.buffer_bytes);
    set_receive_timeout(socket, receive_time_limit_ms);
    start_service(receiver.name, [receiver, socket] {
        std::vector<std::uint8_t> buffer(receiver.capacity);
        await_port(socket, loopback_address, receiver.port,
                   (std::string("receive ") + receiver.name).c_str(),
                   [&] { show_life(receiver.vital); });
        while (true)
            run_guarded(receiver.name, [&] { receive_step(receiver, socket, buffer); });
    });
}

} // namespace fieldrelaybox
