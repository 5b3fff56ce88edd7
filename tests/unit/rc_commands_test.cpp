// What the RC loop reads, and what becomes of its commands.
#include "camera/builders/gimbal.h"
#include "camera/link/stored_frame.h"
#include "config/config_record.h"
#include "core/status_block.h"
#include "core/threads.h"
#include "rc/rc_commands.h"
#include "rc/rc_loop.h"
#include "rc/rc_step.h"
#include "rc/setting_flips.h"
#include "unit/camera_receiver.h"
#include "unit/shell_recorder.h"

#include <algorithm>
#include <future>
#include <limits>
#include <utility>

namespace fieldrelaybox {
namespace {

using Action = RcAction;

struct RcCommandsTest : testing::Test {
    CameraReceiver camera;
};

// At once, also while a save hangs; and one more save serves all that came meanwhile.
TEST_F(RcCommandsTest, settings_are_flipped_at_once_and_saved_together) {
    const int before = running_threads;
    ConfigRecord& record = config_record();
    StatusBlock& block = status_block();
    record.osd_enabled = block.osd_enabled = 1;
    const RcCommand osd{Action::flip_setting, static_cast<int>(FlippedSetting::osd)};
    const RcCommand internal{Action::flip_setting,
                             static_cast<int>(FlippedSetting::internal_camera)};
    std::promise<void> hanging;
    std::promise<void> mounted;
    shell_recorder::on_command =
        [&, first = true, ended = mounted.get_future().share()](const std::string&) mutable {
            if (std::exchange(first, false))
                hanging.set_value();
            ended.wait();
        };
    perform_rc_commands({osd});
    hanging.get_future().wait();
    EXPECT_EQ(load(block.osd_enabled), 0);
    perform_rc_commands({internal, osd, osd, osd, internal, internal});
    EXPECT_EQ(load(record.osd_enabled) + load(block.osd_enabled), 2);
    EXPECT_EQ(load(record.internal_camera_enabled) + load(block.internal_camera_enabled), 2);
    mounted.set_value();
    std::vector<std::string> commands;
    EXPECT_TRUE(test_data::await([&commands] {
        for (std::string& command : shell_recorder::take_commands())
            commands.push_back(std::move(command));
        return !commands.empty() && commands.back() == "killall -q raspivid";
    }));
    EXPECT_EQ(std::count(commands.begin(), commands.end(), "mount -o rw,remount /boot"), 2);
    EXPECT_TRUE(test_data::await([before] { return running_threads == before; }));
}

TEST_F(RcCommandsTest, app_focus_point_and_roll_speed_are_inputs) {
    status_block().focus_point_x = 0.123;
    status_block().focus_point_y = std::numeric_limits<double>::quiet_NaN();
    config_record().roll_speed = 30;
    gimbal_move_for_app(5, 6);
    const RcInputs inputs = read_rc_inputs(77);
    EXPECT_EQ(inputs.percents.roll, 30);
    EXPECT_TRUE(inputs.camera_connected && inputs.app_moves && !inputs.app_registered);
    EXPECT_EQ(inputs.last_gimbal_pair, (GimbalPair{5, -6}));
    EXPECT_EQ(inputs.focus_x, 123);
    EXPECT_EQ(inputs.focus_y, 0);
    gimbal_move_for_app(0, 0);
    EXPECT_FALSE(read_rc_inputs(78).app_moves);
}

TEST_F(RcCommandsTest, channels_without_a_map_do_nothing) {
    std::ranges::fill(status_block().rc_channels, std::uint16_t{2000});
    RcInputs inputs = read_rc_inputs(1);
    inputs.rc_enabled = inputs.camera_connected = true;
    inputs.rc_receiver_state = 6;
    inputs.percents = {100, 100, 100};
    RcState state;
    std::vector<RcCommand> commands;
    rc_step(inputs, state, commands);
    EXPECT_TRUE(commands.empty());
    // One entry that is not 0 shows that a map was read: 0 is pan then.
    status_block().channel_function[31] = 255;
    inputs.functions = read_rc_inputs(2).functions;
    rc_step(inputs, state, commands);
    EXPECT_FALSE(commands.empty());
}

} // namespace
} // namespace fieldrelaybox
