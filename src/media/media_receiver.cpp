#include "media/media_receiver.h"

#include "core/sockets.h"
#include "core/threads.h"
#include "media/burst_room.h"

#include <string>

namespace fieldrelaybox {

namespace {

constexpr int receive_time_limit_ms = 1000;

// What fails costs the rest of the burst: how far its handling got is not known, and no copy may go
// out twice. Some datagrams take a second each, on purpose: signs of life come between.
void receive_step(const MediaReceiver& receiver, int socket, BurstRoom& room) {
    show_life(receiver.vital);
    Datagrams rest = receive_burst({socket, statistics().*receiver.count, receiver.pause_us}, room);
    while (!rest.empty()) {
        std::size_t handled = rest.size();
        run_guarded(receiver.name, [&] { handled = receiver.handle(rest); });
        rest = rest.subspan(handled);
        show_life(receiver.vital);
    }
}

} // namespace

void start_media_receiver(const MediaReceiver& receiver) {
    const int socket = open_udp_socket();
    if (receiver.buffer_bytes > 0)
        set_socket_buffers(socket, receiver.buffer_bytes, receiver.buffer_bytes);
    set_receive_timeout(socket, receive_time_limit_ms);
    start_service(receiver.name, [receiver, socket] {
        BurstRoom room;
        open_room(room, receiver.in_bursts && can_send_segments() ? run_limit : 1,
                  receiver.capacity);
        await_port(socket, loopback_address, receiver.port,
                   (std::string("receive ") + receiver.name).c_str(),
                   [&] { show_life(receiver.vital); });
        while (true)
            receive_step(receiver, socket, room);
    });
}

} // namespace fieldrelaybox
