// What the command data cannot show: commands of several threads at once, hostile texts, and values
// that no command gives the builders.
#include "camera/builders/button_frames.h"
#include "camera/builders/exposure.h"
#include "camera/builders/focus.h"
#include "camera/builders/gimbal.h"
#include "camera/builders/image_settings.h"
#include "camera/builders/shooting.h"
#include "camera/builders/zoom.h"
#include "camera/link/stored_frame.h"
#include "camera/state/camera_state.h"
#include "control/app_commands.h"
#include "core/lanes.h"
#include "unit/camera_receiver.h"

#include <atomic>
#include <future>
#include <thread>
#include <vector>

namespace fieldrelaybox {
namespace {

void handle(const std::string& text) {
    dispatch_app_command(text.c_str(), text.size());
}

struct CameraCommands : testing::Test {
    CameraReceiver camera; // which checks the sequence numbers
};

// Keeps the buttons busy until it goes.
struct HeldButtons {
    HeldButtons() {
        std::promise<void> begun;
        add_job(button_lane, {"", [&begun, ended = end_.get_future().share()] {
                                  begun.set_value();
                                  ended.wait();
                              }});
        begun.get_future().wait();
    }
    ~HeldButtons() { end_.set_value(); }
    std::promise<void> end_;
};

TEST_F(CameraCommands, ButtonsThatTakeLongWaitForEachOtherAndNobodyForThem) {
    camera_builder_state().gimbal_hold = true; // no speed frame first
    {
        const HeldButtons held;
        handle(R"({"cmd":"playback","param":"next"})");
        gimbal_reset(false);
        set_iso(100);
        gimbal_reset(true);
        record(false);
        EXPECT_EQ(camera.take_frames().size(), 5U);
    }
    std::string order; // p: playback, r: recentring
    EXPECT_TRUE(test_data::await([&] {
        for (const auto& frame : camera.take_frames())
            order += frame[4] == 0x09 ? 'p' : 'r';
        return order.size() >= 16;
    }));
    EXPECT_EQ(order, std::string(12, 'p') + std::string(4, 'r'));
}

TEST_F(CameraCommands, RecentresThatWaitBecomeOneAndButtonsAreBounded) {
    camera_builder_state().gimbal_hold = true;
    std::string log;
    {
        const HeldButtons held;
        for (std::size_t i = 1; i < lane_capacity; ++i) { // and one recentre
            gimbal_reset(false);
            gimbal_reset(false);
            handle(R"({"cmd":"playback","param":"next"})");
        }
        testing::internal::CaptureStderr();
        handle(R"({"cmd":"playback","param":"prev"})");
        log = testing::internal::GetCapturedStderr();
    }
    EXPECT_EQ(log, "playback command: prev\n"
                   "buttons: command dropped, 12 others wait for their turn\n");
    std::size_t frames = 0;
    EXPECT_TRUE(test_data::await([&] {
        frames += camera.take_frames().size();
        return frames == 4 + (lane_capacity - 1) * 12;
    })) << frames;
}

// A stream in place of a UDP socket of the daemon: it takes the same calls, and they wait while it
// is full, which sends over loopback never do.
struct FullStream {
    FullStream() {
        constexpr int small = 4096;
        const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
        setsockopt(listener, SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
        setsockopt(sender, SOL_SOCKET, SO_SNDBUF, &small, sizeof small);
        sockaddr_in address = ipv4_address(loopback_address, 0);
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
        const test_data::ByteVector bytes(65536);
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

// Another thread writes there, under a lock that is not ours.
__attribute__((no_sanitize("thread"))) int
count_stamped(const std::array<std::array<std::uint8_t, 20>, 2>& frames) {
    const volatile std::uint8_t& first = frames[0][7];
    const volatile std::uint8_t& second = frames[1][7];
    return (first == 0 ? 1 : 0) + (second == 0 ? 1 : 0);
}

// The second number is not taken before the first frame is on its way.
TEST_F(CameraCommands, NumberingAndSendingAreOneStep) {
    const FullStream stream;
    stream.fill();
    camera_link().socket = stream.sender;
    std::array<std::array<std::uint8_t, 20>, 2> frames{};
    std::vector<std::jthread> senders;
    for (auto& frame : frames) {
        frame.fill(0xEE);
        senders.emplace_back([&frame] { send_camera_frame(frame); });
    }
    EXPECT_TRUE(test_data::await([&] { return count_stamped(frames) > 0; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(20)); // a fault needs a moment to show
    EXPECT_EQ(count_stamped(frames), 1);
    stream.shut();
}

// A receive buffer holds one batch.
TEST_F(CameraCommands, OneSequenceNumberPerFrameOverAllSenders) {
    constexpr int rounds = 20;
    camera_builder_state().gimbal_hold = false;
    for (int batch = 0; batch < 5; ++batch) {
        {
            const auto repeat = [](const auto& command) {
                return std::jthread([command] {
                    for (int i = 0; i < rounds; ++i)
                        command(i);
                });
            };
            const std::jthread exposure = repeat([](int) { set_iso(100); });
            const std::jthread moves = repeat([](int i) { gimbal_move(i, i); });
            const std::jthread app = repeat([](int) {
                handle(R"({"cmd":"focus","param":"point","value1":"0.5","value2":"0.5"})");
            });
            const std::jthread zoom = repeat([](int) { zoom_drive(1); });
        }
        ASSERT_EQ(camera.take_frames().size(), std::size_t{rounds} * (1 + 1 + 3 + 1));
    }
}

// Two threads that set the same level at once are one change.
TEST_F(CameraCommands, SameZoomLevelIsSentOnce) {
    {
        const std::jthread first([] { set_zoom(40); });
        const std::jthread second([] { set_zoom(40); });
    }
    EXPECT_EQ(camera.take_frames().size(), 3U);
}

// Numbers beyond every field are sent as something, and nothing overflows on the way.
TEST_F(CameraCommands, EndlessNumbersStayDefined) {
    camera_state().focus_range = 0x7FFFFFFF;
    testing::internal::CaptureStderr();
    for (const std::string number : {"-99999999999999999999", "99999999999999999999", "-2147483648",
                                     "2147483647", "1e400", "-1e400", "1e39", "nan", "inf"}) {
        const std::string values = R"(","value1":")" + number + R"(","value2":")" + number + "\"}";
        for (const std::string start :
             {R"("exposure","param":"point)", R"("focus","param":"point)",
              R"("focus","param":"manual)", R"("focus","param":"mfa)", R"("focus","param":"afa)",
              R"("position","param":"move)", R"("position","param":"moverel)",
              R"("zoom","param":"-1)", R"("zoom","param":"-3)", R"("zoom","param":"0)",
              R"("wb","param":"custom)", R"("shottype","param":"timelapse)", R"("time","param":")"})
            handle(R"({"cmd":)" + start + values);
        handle(R"({"cmd":"aperture","param":")" + number + "\"}");
        handle(R"({"cmd":"ev","param":")" + number + "\"}");
        set_zoom_relative(current_zoom_level());
    }
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find("set exposure point 255\n"), std::string::npos);
    EXPECT_NE(log.find("set manual focus -2147483648 (-2147483648%)\n"), std::string::npos);
    std::vector<unsigned> apertures;
    for (const auto& frame : camera.take_frames()) {
        if (frame[10] == 0x26)
            apertures.push_back(get_u16le(&frame[11]));
    }
    EXPECT_EQ(apertures,
              (std::vector<unsigned>{0, 0xFFFF, 0, 0xFFFF, 0xFFFF, 0, 0xFFFF, 0, 0xFFFF}));
}

// Command ids and payloads.
TEST_F(CameraCommands, SendWhatNoCommandAsksFor) {
    camera_state().focus_range = 255;
    set_manual_focus(67.0); // the RC loop's are cut, the app's are rounded
    set_video_resolution(640, 480, 15);
    set_video_resolution(1280, 720, 29);
    std::string sent;
    for (const auto& frame : camera.take_frames())
        sent += test_data::to_hex(Bytes(&frame[10], frame.size() - 12)) + ' ';
    EXPECT_EQ(sent, "95aa00 180000000000 af0000 180400000000 af0400 ");
}

TEST_F(CameraCommands, OnlyAWholePositionCommandCounts) {
    for (const char* text : {R"({"cmd":"position","param":"move"})",
                             R"({"cmd":"position","param":"move","value1":"1"})",
                             R"({"cmd":"position","param":"move","value1":"1","value2":""})"})
        handle(text);
    EXPECT_FALSE(camera_builder_state().position_commanded);
    handle(R"({"cmd":"position","param":"move","value1":"0","value2":"0"})");
    EXPECT_TRUE(camera_builder_state().position_commanded);
    EXPECT_NE(camera_builder_state().last_position_command_ms, 0U);
}

} // namespace
} // namespace fieldrelaybox
