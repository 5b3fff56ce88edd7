// A camera for unit tests: a loopback socket that receives every frame the camera room sends.
#pragma once

#include "camera/camera_link.h"
#include "camera/frame.h"
#include "core/sockets.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

class CameraReceiver {
public:
    CameraReceiver() {
        using namespace fieldrelaybox;
        camera_link().socket = open_udp_socket();
        EXPECT_TRUE(bind_socket(receiver_, loopback_address, 0));
        sockaddr_in address{};
        socklen_t size = sizeof address;
        getsockname(receiver_, reinterpret_cast<sockaddr*>(&address), &size);
        set_camera_address(address);
        camera_link().connected = true;
        camera_link().clock_sync = true;
    }
    ~CameraReceiver() {
        fieldrelaybox::camera_link().connected = false;
        close(fieldrelaybox::camera_link().socket);
        fieldrelaybox::camera_link().socket = -1;
        close(receiver_);
    }
    CameraReceiver(const CameraReceiver&) = delete;
    CameraReceiver& operator=(const CameraReceiver&) = delete;

    // The frames that have arrived; sending over loopback is done when the send call returns.
    // Checks both frame checks and that the sequence numbers of all frames so far run on.
    std::vector<std::vector<std::uint8_t>> take_frames() {
        using namespace fieldrelaybox;
        std::vector<std::vector<std::uint8_t>> frames;
        std::vector<std::uint8_t> frame(1500);
        ssize_t length = 0;
        while ((length = recv(receiver_, frame.data(), frame.size(), MSG_DONTWAIT)) > 0) {
            frames.emplace_back(frame.begin(), frame.begin() + length);
            check(frames.back());
        }
        return frames;
    }

private:
    void check(const std::vector<std::uint8_t>& frame) {
        using namespace fieldrelaybox;
        ASSERT_GE(frame.size(), 13U);
        EXPECT_EQ(frame[3], header_check(Bytes(frame).first(3)));
        const std::size_t checked = frame.size() - frame_check_size;
        EXPECT_EQ(get_u16le(&frame[checked]), frame_check(Bytes(frame).first(checked)));
        EXPECT_TRUE(!sequence_known_ || frame[6] == next_sequence_)
            << "sequence number " << int{frame[6]} << " after " << next_sequence_ - 1;
        sequence_known_ = true;
        next_sequence_ = static_cast<std::uint8_t>(frame[6] + 1);
        EXPECT_EQ(frame[7], 0);
    }

    int receiver_ = fieldrelaybox::open_udp_socket();
    bool sequence_known_ = false;
    std::uint8_t next_sequence_ = 0;
};
