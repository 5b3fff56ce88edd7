#include "stream.h"

#include "datagram.h"
#include "udp.h"

#include <ctime>

namespace bench {

namespace {

void sleep_until(std::int64_t monotonic_ns) {
    const timespec time{.tv_sec = monotonic_ns / 1'000'000'000,
                        .tv_nsec = static_cast<long>(monotonic_ns % 1'000'000'000)};
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &time, nullptr);
}

} // namespace

void send_segment(std::uint16_t port, std::uint32_t segment, const Pace& pace) {
    static const int socket = open_socket(0);
    const sockaddr_in relay = loopback(port);
    std::int64_t next = clock_ns(CLOCK_MONOTONIC);
    Datagram datagram;
    for (std::uint32_t number = 0; number < pace.datagrams; ++number) {
        if (number % pace.burst == 0) {
            sleep_until(next);
            next += pace.pause_ns;
        }
        write_datagram(datagram, {segment, number, clock_ns(CLOCK_REALTIME)});
        send_to(socket, datagram.data(), datagram.size(), relay);
    }
}

} // namespace bench
