// What the control loop reads, and what becomes of its commands.
#include "camera/control_jobs.h"
#include "camera/control_loop.h"
#include "camera/gimbal.h"
#include "camera/stored_frame.h"
#include "config/config_record.h"
#include "control/app_clients.h"
#include "core/status_block.h"
#include "unit/camera_receiver.h"
#include "unit/shell_recorder.h"
#include "unit/test_data.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <limits>
#include <mutex>
#include <thread>

namespace fieldrelaybox {
namespace {

using Action = ControlAction;

// Lives on: the threads that the commands start may still be at its socket when a test ends.
CameraReceiver& lasting_camera() {
    static auto* const camera = new CameraReceiver;
    return *camera;
}

struct ControlCommandsTest : testing::Test {
    ControlCommandsTest() { testing::internal::CaptureStderr(); }
    ~ControlCommandsTest() override { testing::internal::GetCapturedStderr(); }
    ControlCommandsTest(const ControlCommandsTest&) = delete;
    ControlCommandsTest& operator=(const ControlCommandsTest&) = delete;

    CameraReceiver& camera = lasting_camera();
};

// Command ids and payloads of one frame per action; the builders have tests of their own.
TEST_F(ControlCommandsTest, every_action_reaches_its_builder) {
    CameraBuilderState& builders = camera_builder_state();
    builders.zoom_level = no_zoom_level;
    builders.app_gimbal_idle = 0;
    camera_state().focus_range = 1000;
    camera_state().shot_kind = ShotKind{};
    camera_state().autofocus = camera_state().photo_mode = true;
    perform_control_commands({{Action::gimbal_speed, 1000, -1000},
                              {Action::gimbal_move, 1000, -1000},
                              {Action::end_app_move},
                              {Action::roll, -10},
                              {Action::record, 0},
                              {Action::shot},
                              {Action::menu_active, 1},
                              {Action::exposure_mode, 3},
                              {Action::ev, 18},
                              {Action::iso, 7},
                              {Action::shutter, 56},
                              {Action::aperture, 2},
                              {Action::zoom_drive, -1},
                              {Action::zoom_level, 40},
                              {Action::zoom_relative, 2},
                              {Action::zoom_step, -5},
                              {Action::manual_focus, 505},
                              {Action::focus_point, 250, 750}});
    std::string sent;
    std::string last;
    for (const auto& frame : camera.take_frames()) {
        const Bytes command(&frame[10], frame.size() - 12);
        if (const std::string text = test_data::to_hex(command) + " "; text != last)
            sent += last = text;
    }
    EXPECT_EQ(sent, "0ce803000018fc90 07f6 0104000000009100000095 0100000000009100000091 "
                    "01300000000091000100a0 0100000000009100000091 1e0400 2e19 2a09 2801409f00 "
                    "261801 b801480000 340900008c00 340900008e00 2400 95f901 300000803e0000403f ");
    EXPECT_EQ(builders.app_gimbal_idle, 1);
    EXPECT_EQ(builders.zoom_step, -5);
    EXPECT_EQ(status_block().rc_menu_active, 1);
}

// Holds the threads that run shell commands until it is opened.
std::atomic<bool> shell_open{false};

// Opens it; the commands up to and with the last one.
std::vector<std::string> open_shell_until(const std::string& last) {
    shell_open = true;
    std::vector<std::string> commands;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::chrono::steady_clock::now() < end &&
           (commands.empty() || commands.back() != last)) {
        const std::vector<std::string> more = shell_recorder::take_commands();
        commands.insert(commands.end(), more.begin(), more.end());
        std::this_thread::yield();
    }
    return commands;
}

TEST_F(ControlCommandsTest, settings_are_flipped_and_saved_without_holding_the_loop) {
    ConfigRecord& record = config_record();
    StatusBlock& block = status_block();
    record.osd_enabled = block.osd_enabled = 1;
    const ControlCommand osd{Action::flip_setting, static_cast<int>(FlippedSetting::osd)};
    const ControlCommand internal{Action::flip_setting,
                                  static_cast<int>(FlippedSetting::internal_camera)};
    shell_recorder::take_commands();
    shell_recorder::on_command = [](const std::string&) { // the first save hangs in its mount
        while (!shell_open)
            std::this_thread::yield();
    };
    perform_control_commands({osd});
    while (load(block.osd_enabled) != 0)
        std::this_thread::yield();
    perform_control_commands({internal, osd, osd, osd, internal, internal});
    EXPECT_EQ(load(record.internal_camera_enabled), 0); // waits its turn
    const auto commands = open_shell_until("killall -q raspivid");
    EXPECT_EQ(load(record.osd_enabled) + load(block.osd_enabled), 2);
    EXPECT_EQ(load(record.internal_camera_enabled) + load(block.internal_camera_enabled), 2);
    EXPECT_EQ(std::count(commands.begin(), commands.end(), "mount -o rw,remount /boot"), 2);
}

TEST_F(ControlCommandsTest, gimbal_jobs_keep_their_order_and_are_bounded) {
    camera_builder_state().gimbal_hold = true;
    const ControlCommand lock{Action::orientation, 1};
    {
        const std::lock_guard other_command(sequence_turn()); // recentring waits for it
        perform_control_commands({lock, {Action::recentre}, lock});
        perform_control_commands(std::vector(20, lock));
    }
    std::string order; // by the pressed button
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (order.size() < 5 + waiting_job_capacity - 2 && std::chrono::steady_clock::now() < end) {
        for (const auto& frame : camera.take_frames())
            order += frame[15] == 0x0A ? 'c' : frame[15] == 0x02 ? 'l' : '-';
        std::this_thread::yield();
    }
    EXPECT_EQ(order.substr(0, 6), "lc-c-l");
    EXPECT_LE(std::count(order.begin(), order.end(), 'l'), 2 * waiting_job_capacity);
}

TEST_F(ControlCommandsTest, inputs_are_read_from_the_shared_records) {
    StatusBlock& block = status_block();
    ConfigRecord& record = config_record();
    block.rc_channels[31] = 1931;
    block.channel_function[31] = 21;
    block.focus_point_x = 0.123;
    block.focus_point_y = std::numeric_limits<double>::quiet_NaN();
    record.rc_input_speed_pan = 10;
    record.rc_input_speed_tilt = 20;
    record.roll_speed = 30;
    clear_app_clients();
    gimbal_move_for_app(5, 6);
    const ControlInputs inputs = read_control_inputs(77);
    EXPECT_EQ(inputs.channels[31], 1931);
    EXPECT_EQ(inputs.functions[31], 21);
    EXPECT_TRUE(inputs.camera_connected && inputs.app_moves && !inputs.app_registered);
    EXPECT_EQ(inputs.percents.pan + inputs.percents.tilt * 2 + inputs.percents.roll * 3, 140);
    EXPECT_EQ(inputs.last_gimbal_pair, (GimbalPair{5, -6}));
    EXPECT_EQ(inputs.focus_x, 123);
    EXPECT_EQ(inputs.focus_y, 0);
    gimbal_move_for_app(0, 0);
    EXPECT_FALSE(read_control_inputs(78).app_moves);
}

TEST_F(ControlCommandsTest, channels_without_a_map_do_nothing) {
    status_block() = {};
    std::ranges::fill(status_block().rc_channels, std::uint16_t{2000});
    ControlInputs inputs = read_control_inputs(1);
    inputs.rc_enabled = inputs.camera_connected = true;
    inputs.rc_receiver_state = 6;
    inputs.app_moves = false;
    inputs.zoom_step = 0;
    inputs.percents = {100, 100, 100};
    ControlState state;
    std::vector<ControlCommand> commands;
    control_step(inputs, state, commands);
    EXPECT_TRUE(commands.empty());
    // One entry that is not 0 shows that a map was read: 0 is pan then.
    status_block().channel_function[31] = 255;
    inputs.functions = read_control_inputs(2).functions;
    control_step(inputs, state, commands);
    EXPECT_FALSE(commands.empty());
}

TEST_F(ControlCommandsTest, an_app_move_ends_the_hold_of_an_angle) {
    gimbal_move_for_app(5, 6);
    gimbal_set_angle(1, 2);
    gimbal_move_for_app(5, 6); // the same as the last one
    EXPECT_FALSE(camera_builder_state().gimbal_hold);
    EXPECT_EQ(camera_builder_state().last_gimbal_pair.load(), (GimbalPair{5, -6}));
    EXPECT_EQ(camera_builder_state().app_gimbal_idle, 0);
    gimbal_move_for_app(0, 0);
}

} // namespace
} // namespace fieldrelaybox
