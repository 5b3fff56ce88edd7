#include "media/media_receiver.h"

#include "core/sockets.h"
#include "core/threads.h"

#include <string>
#include <vector>

namespace fieldrelaybox {

namespace {

constexpr int receive_time_limit_ms = 1000;

void receive_step(const MediaReceiver& receiver, int socket, std::vector<std::uint8_t>& buffer) {
    show_life(receiver.vital);
    const auto datagram =
        receive_from({socket, statistics().*receiver.count, receiver.pause_us}, buffer, nullptr);
    if (datagram && !datagram->empty())
        receiver.handle(*datagram);
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
