// A box that a test plays to the panel. What is sent over loopback is there when the call returns.
#pragma once

#include "panel/message_order.h"
#include "unit/test_data.h"

#include <array>

struct PlayedBox : test_data::Receiver {
    using Receiver::Receiver;
    sockaddr_in panel{}; // or whoever sent last

    std::string name() const { return "127.0.0.1:" + std::to_string(ntohs(address().sin_port)); }

    // Of the next datagram what is behind the header: a command, or a control code and what goes
    // with it.
    std::string next() {
        std::array<char, 2048> bytes{};
        socklen_t size = sizeof panel;
        const ssize_t length = recvfrom(socket(), bytes.data(), bytes.size(), MSG_DONTWAIT,
                                        reinterpret_cast<sockaddr*>(&panel), &size);
        if (length < 0)
            return "nothing came";
        const std::string text(bytes.data(), static_cast<std::size_t>(length));
        EXPECT_EQ(text.substr(0, 12), "B" + std::string(11, '\0'));
        return text.substr(12);
    }
    void say(const std::string& datagram) const {
        EXPECT_EQ(sendto(socket(), datagram.data(), datagram.size(), 0,
                         reinterpret_cast<const sockaddr*>(&panel), sizeof panel),
                  static_cast<ssize_t>(datagram.size()));
    }
};

inline std::string box_message(char kind, std::uint32_t number, const std::string& payload) {
    std::array<std::uint8_t, panel::message_header_size> header{'B',
                                                                static_cast<std::uint8_t>(kind)};
    fieldrelaybox::put_u32le(&header[4], number);
    return std::string(header.begin(), header.end()) + payload;
}
