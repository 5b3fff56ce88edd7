// What the command data cannot show: commands of several threads at once, hostile texts, and values
// that no command gives the builders.
#include "camera/builders/exposure.h"
#include "camera/builders/focus.h"
#include "camera/builders/gimbal.h"
#include "camera/builders/image_settings.h"
#include "camera/builders/sequence_turn.h"
#include "camera/builders/shooting.h"
#include "camera/builders/zoom.h"
#include "camera/link/stored_frame.h"
#include "camera/state/camera_state.h"
#include "config/config_record.h"
#include "control/app_commands.h"
#include "unit/camera_receiver.h"
#include "unit/full_stream.h"

#include <atomic>
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

TEST_F(CameraCommands, BlockingSequencesTakeTurns) {
    camera_builder_state().gimbal_hold = true; // no speed frame first
    std::thread next([] { handle(R"({"cmd":"playback","param":"next"})"); });
    std::thread reset([] { gimbal_reset(false); });
    next.join();
    reset.join();

    std::string order; // p: playback, r: reset
    for (const auto& frame : camera.take_frames())
        order += frame[4] == 0x09 ? 'p' : 'r';
    const std::string playback(12, 'p');
    const std::string recentre(4, 'r');
    EXPECT_TRUE(order == playback + recentre || order == recentre + playback) << order;
}

// Would stand still for ever if one of these waited.
TEST_F(CameraCommands, OtherCommandsDoNotWaitForASequence) {
    camera_builder_state().gimbal_hold = true;
    const std::lock_guard sequence(sequence_turn());
    set_iso(100);
    gimbal_reset(true);
    record(false);
    EXPECT_EQ(camera.take_frames().size(), 5U);
}

// Would stand still for ever if the playback command waited or the turn were given out of order.
TEST_F(CameraCommands, AFewWaitForTheirTurnAndAreServedInOrder) {
    SequenceTurn& turn = sequence_turn();
    constexpr int refused_count = 4;
    std::atomic<int> served{0};
    std::atomic<int> refused{0};
    turn.lock();
    std::vector<std::jthread> commands;
    for (int i = 0; i < SequenceTurn::waiting_capacity + refused_count; ++i) {
        commands.emplace_back([&turn, &served, &refused] {
            if (!turn.lock_unless_crowded()) {
                ++refused;
                return;
            }
            ++served;
            turn.unlock();
        });
    }
    while (refused < refused_count) // then the others wait
        std::this_thread::yield();
    testing::internal::CaptureStderr();
    handle(R"({"cmd":"playback","param":"next"})");
    handle(R"({"cmd":"playback","param":"back"})");
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_EQ(log, "playback command: next\n"
                   "playback command dropped: 12 commands wait for their turn\n"
                   "playback command: back\n");
    EXPECT_EQ(camera.take_frames().size(), 0U);
    EXPECT_EQ(served, 0);
    turn.unlock();
    turn.lock(); // after all who came before
    EXPECT_EQ(served, SequenceTurn::waiting_capacity);
    turn.unlock();
}

// Another thread writes there, under a lock that is not ours.
__attribute__((no_sanitize("thread"))) int
count_stamped(const std::array<std::array<std::uint8_t, 20>, 2>& frames) {
    const volatile std::uint8_t& first = frames[0][7];
    const volatile std::uint8_t& second = frames[1][7];
    return (first == 0 ? 1 : 0) + (second == 0 ? 1 : 0);
}

// The second number is not taken before the first frame is on its way.
TEST_F(CameraCommands, NumberingAndSendingAreOneStep) {
    const test_data::FullStream stream;
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
                             R"({"cmd":"position","param":"move","value1":1,"value2":2})"})
        handle(text);
    EXPECT_FALSE(camera_builder_state().position_commanded);
    handle(R"({"cmd":"position","param":"move","value1":"0","value2":"0"})");
    EXPECT_TRUE(camera_builder_state().position_commanded);
    EXPECT_NE(camera_builder_state().last_position_command_ms, 0U);
}

} // namespace
} // namespace fieldrelaybox
