// One thread that receives the datagrams of a loopback port and hands them to the relay.
#pragma once

#include "core/life_signs.h"
#include "core/segments.h"
#include "core/statistics.h"

#include <cstddef>
#include <cstdint>

namespace fieldrelaybox {

inline constexpr std::int64_t media_pause_us = 500'000;

struct MediaReceiver {
    const char* name; // of the thread, and for the log
    Vital vital;
    std::uint16_t port;    // on 127.0.0.1
    std::size_t capacity;  // of one datagram; longer ones are cut
    int buffer_bytes;      // of the socket, 0 = the system's default
    std::int64_t pause_us; // after a failed receive
    InputCount Statistics::*count;
    bool in_bursts; // takes what came together in one call
    // Passes on the first of the datagrams, or the first few, and returns how many.
    std::size_t (*handle)(Datagrams rest);
};

// Starts the thread, which binds the port as soon as it can be had and shows life all the time.
void start_media_receiver(const MediaReceiver& receiver);

} // namespace fieldrelaybox
