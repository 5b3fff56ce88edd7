// A stream in place of a UDP socket of the daemon: it takes the same calls, and they wait while it
// is full, which sends over loopback never do.
#pragma once

#include "unit/test_data.h"

namespace test_data {

struct FullStream {
    FullStream() {
        constexpr int small = 4096;
        const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
        setsockopt(listener, SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
        setsockopt(sender, SOL_SOCKET, SO_SNDBUF, &small, sizeof small);
        sockaddr_in address = fieldrelaybox::ipv4_address(fieldrelaybox::loopback_address, 0);
        socklen_t size = sizeof address;
        auto* generic = reinterpret_cast<sockaddr*>(&address);
        EXPECT_EQ(bind(listener, generic, size), 0);
        EXPECT_EQ(listen(listener, 1), 0);
        EXPECT_EQ(getsockname(listener, generic, &size), 0);
        EXPECT_EQ(connect(sender, generic, size), 0);
        receiver = accept(listener, nullptr, nullptr);
        close(listener);
    }
    // From now on every send waits, but those that never do.
    void fill() const {
        const ByteVector bytes(65536);
        while (send(sender, bytes.data(), bytes.size(), MSG_DONTWAIT) > 0) {
        }
    }
    // Ends the wait of whoever sends.
    void shut() const { shutdown(sender, SHUT_RDWR); }
    ~FullStream() {
        close(sender);
        close(receiver);
    }

    int sender = ::socket(AF_INET, SOCK_STREAM, 0);
    int receiver = -1;
};

} // namespace test_data
