#include "panel/burst.h"

#include <array>
#include <cstdint>
#include <sys/socket.h>

namespace panel {
namespace {

constexpr std::size_t burst_size = 32;
constexpr std::size_t largest_datagram = 65'536;

} // namespace

struct BurstRoom {
    std::unique_ptr<std::uint8_t[]> bytes =
        std::make_unique_for_overwrite<std::uint8_t[]>(burst_size * largest_datagram);
    std::array<sockaddr_in, burst_size> senders{};
    std::array<iovec, burst_size> places{};
    std::array<mmsghdr, burst_size> messages{};
};

std::shared_ptr<BurstRoom> make_burst_room() {
    auto room = std::make_shared<BurstRoom>();
    for (std::size_t i = 0; i < burst_size; ++i) {
        room->places[i] = {&room->bytes[i * largest_datagram], largest_datagram};
        msghdr& header = room->messages[i].msg_hdr;
        header.msg_name = &room->senders[i];
        header.msg_iov = &room->places[i];
        header.msg_iovlen = 1;
    }
    return room;
}

bool receive_burst(int socket, BurstRoom& room, const TakeDatagram& take) {
    for (mmsghdr& message : room.messages)
        message.msg_hdr.msg_namelen = sizeof(sockaddr_in);
    const int count = recvmmsg(socket, room.messages.data(), burst_size, MSG_DONTWAIT, nullptr);
    for (int i = 0; i < count; ++i) {
        const auto place = static_cast<std::size_t>(i);
        take({&room.bytes[place * largest_datagram], room.messages[place].msg_len},
             room.senders[place]);
    }
    return count == static_cast<int>(burst_size);
}

} // namespace panel
