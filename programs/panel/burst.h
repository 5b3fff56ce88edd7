// Receiving datagrams in bursts, into room that is had once.
#pragma once

#include "core/bytes.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <netinet/in.h>

namespace panel {

struct BurstRoom; // for 32 datagrams of any size; what was never used takes no memory

std::shared_ptr<BurstRoom> make_burst_room();

using TakeDatagram = std::function<void(fieldrelaybox::Bytes datagram, const sockaddr_in& sender)>;

// Takes what is there, at most one burst of it, without waiting. Whether there may be more.
bool receive_burst(int socket, BurstRoom& room, const TakeDatagram& take);

} // namespace panel
