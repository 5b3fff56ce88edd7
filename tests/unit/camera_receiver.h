// A camera that is connected: every frame that the camera room sends to it, checked.
#pragma once

#include "camera/link/camera_link.h"
#include "camera/link/frame.h"
#include "core/threads.h"
#include "unit/test_data.h"

#include <optional>

class CameraReceiver {
public:
    CameraReceiver() {
        fieldrelaybox::CameraLink& link = fieldrelaybox::camera_link();
        link.socket = box_.socket();
        fieldrelaybox::set_camera_address(camera_.address());
        link.connected = link.clock_sync = true;
    }
    // Commands may have started threads, which use the camera's socket.
    ~CameraReceiver() {
        EXPECT_TRUE(
            test_data::await([this] { return fieldrelaybox::running_threads == threads_before_; }));
        fieldrelaybox::camera_link().connected = false;
        fieldrelaybox::camera_link().socket = -1;
    }
    CameraReceiver(const CameraReceiver&) = delete;
    CameraReceiver& operator=(const CameraReceiver&) = delete;

    // The frames that have arrived. Checks both frame checks and that the sequence numbers of all
    // frames so far run on.
    std::vector<test_data::ByteVector> take_frames() {
        std::vector<test_data::ByteVector> frames;
        for (const std::string& datagram : camera_.take()) {
            frames.push_back(test_data::from_hex(datagram));
            check(frames.back());
        }
        return frames;
    }

private:
    void check(const test_data::ByteVector& frame) {
        using namespace fieldrelaybox;
        ASSERT_GE(frame.size(), frame_header_size + frame_check_size);
        EXPECT_EQ(frame[3], header_check(Bytes(frame).first(3)));
        const std::size_t checked = frame.size() - frame_check_size;
        EXPECT_EQ(get_u16le(&frame[checked]), frame_check(Bytes(frame).first(checked)));
        EXPECT_EQ(frame[6], next_sequence_.value_or(frame[6])) << "sequence number";
        EXPECT_EQ(frame[7], 0);
        next_sequence_ = static_cast<std::uint8_t>(frame[6] + 1);
    }

    const int threads_before_ = fieldrelaybox::running_threads;
    test_data::Receiver box_;
    test_data::Receiver camera_;
    std::optional<std::uint8_t> next_sequence_;
};
