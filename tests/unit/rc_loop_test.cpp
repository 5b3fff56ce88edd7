// What the RC loop reads, and its step against tables of channel values, with a clock of its own.
#include "camera/builders/gimbal.h"
#include "config/config_record.h"
#include "control/command_queue.h"
#include "core/alarm.h"
#include "core/clock.h"
#include "core/status_block.h"
#include "rc/rc_loop.h"
#include "rc/rc_step.h"
#include "unit/camera_receiver.h"

#include <limits>
#include <stdexcept>

namespace fieldrelaybox {
namespace {

using Function = ChannelFunction;
using Text = std::string;

constexpr auto actions = in_order_of(rc_actions, &ActionRow::action);

// "speed 1000,0; move 1000,0; "; what is 0 at the end is left out.
Text text_of(const std::vector<RcCommand>& commands) {
    Text text;
    for (const RcCommand& command : commands) {
        text += Text(actions[static_cast<std::size_t>(command.action)].name) + ' ';
        if (command.a != 0 || command.b != 0)
            text += std::to_string(command.a);
        if (command.b != 0)
            text += "," + std::to_string(command.b);
        text += "; ";
    }
    return text;
}

Text times(int count, const Text& text) {
    Text all;
    for (int i = 0; i < count; ++i)
        all += text;
    return all;
}

struct RcLoopTest : testing::Test {
    RcLoopTest() {
        inputs.now = 0xFFFFFF00; // beyond 32 bits early in every test
        inputs.functions.fill(static_cast<std::uint8_t>(Function::none));
        inputs.rc_enabled = true;
        inputs.rc_receiver_state = 6;
        inputs.camera_connected = inputs.focus_range_known = true;
    }

    void map(std::size_t channel, Function function, int value) {
        inputs.functions[channel] = static_cast<std::uint8_t>(function);
        inputs.channels[channel] = static_cast<std::uint16_t>(value);
    }

    // Steps 20 ms apart; what the builders would remember is remembered.
    Text steps(int count) {
        Text text;
        for (int i = 0; i < count; ++i) {
            inputs.now += 20;
            std::vector<RcCommand> commands;
            rc_step(inputs, state, commands);
            for (const RcCommand& command : commands)
                remember(command);
            text += text_of(commands);
        }
        return text;
    }

    Text step(std::size_t channel, int value) {
        inputs.channels[channel] = static_cast<std::uint16_t>(value);
        return steps(1);
    }

    // A step per value, then some more with the last one.
    Text walk(std::size_t channel, std::initializer_list<int> values, int more = 0) {
        Text text;
        for (const int value : values)
            text += step(channel, value);
        text += steps(more);
        return text;
    }

    void remember(const RcCommand& command) {
        if (command.action == RcAction::gimbal_speed)
            inputs.last_gimbal_pair = {command.a, command.b};
        if (command.action == RcAction::end_app_move ||
            command.action == RcAction::abandon_app_move)
            inputs.app_moves = false;
        if (command.action == RcAction::zoom_step)
            inputs.zoom_step = command.a;
    }

    RcInputs inputs;
    RcState state;
};

Text move(int pan, int tilt = 0) {
    return text_of({{RcAction::gimbal_speed, pan, tilt}, {RcAction::gimbal_move, pan, tilt}});
}

const Text stop = "speed ; ";

TEST_F(RcLoopTest, axes_scale_with_dead_band_percent_and_exponent) {
    struct Row {
        int value;
        bool exponential;
        int percent;
        int speed; // (d - 0.03) / 0.97 of 1000 for a deflection d
    };
    for (const Row& row : {Row{1515, false, 100, 0},
                           {1485, false, 100, 0},
                           {1516, false, 100, 2},
                           {2000, false, 100, 1000},
                           {1000, false, 100, -1000},
                           {65535, false, 100, 1000},
                           {1, false, 100, -1000},
                           {1750, false, 100, 485},
                           {1250, false, 50, -242},
                           {1750, true, 100, 225},
                           {1250, true, 100, -225},
                           {2000, true, 30, 300},
                           {2000, false, 2147483647, 1000}}) {
        state = {};
        inputs.exponential = row.exponential;
        inputs.percents.pan = row.percent;
        map(3, Function::pan, row.value);
        EXPECT_EQ(steps(1), row.speed == 0 ? "" : move(row.speed)) << row.value;
    }
}

TEST_F(RcLoopTest, lost_rc_stops_what_the_rc_moves_and_nothing_else) {
    map(0, Function::pan, 1500);
    map(1, Function::zoom, 1500);
    map(2, Function::record, 1000);
    map(3, Function::digital_zoom2, 1500);
    const RcInputs good = inputs;
    for (auto* const lose : {+[](RcInputs& in) { in.rc_receiver_state = 5; },
                             +[](RcInputs& in) { in.rc_enabled = false; },
                             +[](RcInputs& in) { in.channels.fill(0); }}) {
        steps(1);
        inputs.channels = {2000, 2000, 2000, 2000};
        steps(10);
        lose(inputs);
        EXPECT_EQ(steps(10), stop + "drive ; zoomstep ; ");
        // Back with another switch position and at the centre: only where everything starts from.
        const std::int64_t now = inputs.now;
        inputs = good;
        inputs.now = now;
        EXPECT_EQ(steps(10), "");
        EXPECT_EQ(step(2, 2000), "record 1; ");
        inputs.channels[2] = 0;
    }
}

TEST_F(RcLoopTest, what_ends_while_the_camera_is_away_is_stopped_when_it_is_back) {
    map(0, Function::pan, 2000);
    map(1, Function::zoom, 1500);
    steps(1);
    step(1, 1000);
    inputs.gimbal_hold = true; // the same speed ends it
    EXPECT_EQ(steps(1), stop + move(1000));
    inputs.gimbal_hold = inputs.camera_connected = false;
    EXPECT_EQ(steps(5), "");
    inputs.channels[0] = 1500;
    inputs.camera_connected = true;
    EXPECT_EQ(steps(5), stop + "drive ; ");
    inputs.rc_receiver_state = 0;
    inputs.app_moves = true; // it must not go on under the next app
    inputs.camera_connected = false;
    EXPECT_EQ(steps(2), "end ; ");
    inputs.camera_connected = true;
    EXPECT_EQ(steps(2), stop);
}

TEST_F(RcLoopTest, rests_while_nothing_is_left_to_do_until_a_command) {
    map(0, Function::pan, 2000);
    steps(1);
    inputs.camera_connected = inputs.rc_enabled = false;
    steps(1);
    EXPECT_TRUE(is_at_rest(inputs, state)); // though a stop waits for the camera
    inputs.camera_connected = true;
    EXPECT_FALSE(is_at_rest(inputs, state));
    EXPECT_EQ(steps(1), stop);
    EXPECT_TRUE(is_at_rest(inputs, state));
    for (auto* const begin :
         {+[](RcInputs& in) { in.rc_enabled = true; }, +[](RcInputs& in) { in.app_moves = true; },
          +[](RcInputs& in) { in.zoom_step = -1; },
          +[](RcInputs& in) { in.stop_in_doubt = true; }}) {
        RcInputs begun = inputs;
        begin(begun);
        EXPECT_FALSE(is_at_rest(begun, state));
    }
    for (auto* const command : {+[] {}, +[] { throw std::runtime_error("done by half"); }}) {
        command_alarm.rung = false;
        queue_command(command);
        perform_queued_commands();
        EXPECT_TRUE(command_alarm.rung);
    }
}

TEST_F(RcLoopTest, position_command_is_not_stopped) {
    map(0, Function::pan, 2000);
    steps(1);
    inputs.position_commanded = true;
    inputs.last_position_command_ms = inputs.now + 1;
    inputs.channels[0] = 1500;
    EXPECT_EQ(steps(200), ""); // nor later: the command has taken the stop's place
    // A deflection takes over at once, and is stopped at once.
    inputs.last_position_command_ms = inputs.now + 1;
    EXPECT_EQ(step(0, 2000), move(1000));
    EXPECT_EQ(step(0, 1500), stop);
}

TEST_F(RcLoopTest, roll_goes_in_steps_every_100_ms) {
    inputs.percents.roll = 50;
    map(0, Function::roll, 2000);
    EXPECT_EQ(steps(11), times(3, "roll 5; "));
    inputs.channels[0] = 1484; // just outside the dead band: the smallest step
    EXPECT_EQ(steps(5), "roll -1; ");
    inputs.percents.roll = 0;
    inputs.channels[0] = 2000;
    EXPECT_EQ(steps(5), "roll 1; ");
    inputs.channels[0] = 1515;
    EXPECT_EQ(steps(10), "");
}

TEST_F(RcLoopTest, switches_act_on_entering_and_leaving) {
    struct Row {
        Function function;
        Text high;   // on entering it
        Text middle; // from high
        Text low;    // from middle
    };
    for (const Row& row : {Row{Function::record, "record 1; ", "record ; ", ""},
                           {Function::record_shot, "record 1; ", "record ; ", "shot ; "},
                           {Function::center, "recentre ; ", "", ""},
                           {Function::orient_lock, "lock 1; ", "lock ; ", ""},
                           {Function::custom_focus_assistant, "flip ; ", "", ""},
                           {Function::internal_camera, "flip 1; ", "", ""},
                           {Function::osd, "flip 2; ", "", ""},
                           {Function::menu, "menu 1; ", "menu ; ", ""}}) {
        map(5, row.function, 1500);
        EXPECT_EQ(walk(5, {1500, 1750}), "");
        EXPECT_EQ(step(5, 1751), row.high);
        EXPECT_EQ(step(5, 1651), ""); // still high
        EXPECT_EQ(step(5, 1650), row.middle);
        EXPECT_EQ(step(5, 1250), "");
        EXPECT_EQ(step(5, 1249), row.low);
        EXPECT_EQ(walk(5, {1349, 1000}), ""); // still low
        EXPECT_EQ(step(5, 2000), row.high);
        // Absent: what comes back is a first value again.
        EXPECT_EQ(walk(5, {0, 1000}), row.function == Function::menu ? row.middle : "");
    }
    map(5, Function::record_shot, 2000);
    EXPECT_EQ(walk(5, {2000, 1000}), "record ; shot ; ");
    map(5, Function::record, 2000); // another function: a first value
    EXPECT_EQ(steps(1), "");
}

TEST_F(RcLoopTest, menu_has_the_sticks) {
    map(0, Function::zoom, 1500);
    map(1, Function::digital_zoom2, 1500);
    map(2, Function::focus_pan, 1500);
    map(3, Function::center, 1000);
    map(4, Function::orient_lock, 1000);
    map(5, Function::pan, 2000);
    map(9, Function::menu, 1000); // behind those it holds back
    steps(1);
    inputs.channels[0] = 2000;
    EXPECT_EQ(step(1, 2000), move(1000) + "drive 1; zoomstep 5; change 5; ");
    EXPECT_EQ(step(9, 2000), "menu 1; " + stop + "drive ; zoomstep ; ");
    inputs.channels = {1000, 1000, 1000, 2000, 2000, 1000, 0, 0, 0, 2000};
    EXPECT_EQ(steps(10), "");
    inputs.channels = {1500, 1500, 1500, 1000, 1000, 0, 0, 0, 0, 2000};
    EXPECT_EQ(steps(10), "");
    inputs.channels[2] = 1900;
    inputs.channels[4] = 2000;
    EXPECT_EQ(steps(10), "");
    EXPECT_EQ(step(9, 1000), "lock 1; menu ; "); // the switch shows the truth again
    EXPECT_EQ(walk(3, {2000, 2000}), "recentre ; ");
    step(9, 2000);
    inputs.rc_receiver_state = 0;
    EXPECT_EQ(steps(1), "menu ; ");
    inputs.rc_receiver_state = 6;
    EXPECT_EQ(steps(1), "menu 1; "); // by position
}

TEST_F(RcLoopTest, video_mode_has_four_ranges) {
    map(0, Function::video_mode, 1100);
    EXPECT_EQ(walk(0, {1100, 1299}), "");
    EXPECT_EQ(walk(0, {1300, 1200}), "mode 1; ");
    EXPECT_EQ(walk(0, {1199, 1900, 1701}), "mode ; mode 3; ");
    EXPECT_EQ(walk(0, {1600, 1450, 1449}), "mode 2; mode 1; ");
}

TEST_F(RcLoopTest, stepped_functions_send_what_has_held_for_100_ms) {
    struct Row {
        Function function;
        const char* name;
        int count;
    };
    for (const Row& row : {Row{Function::ev, "ev ", 19},
                           {Function::iso, "iso ", 8},
                           {Function::shutter, "shutter ", 57},
                           {Function::aperture, "f ", 8}}) {
        map(0, row.function, 1000);
        EXPECT_EQ(steps(10), "");
        for (int i = 1; i < row.count; ++i) {
            inputs.channels[0] = static_cast<std::uint16_t>(1000 + (2 * i + 1) * 500 / row.count);
            EXPECT_EQ(steps(5), "") << i;
            EXPECT_EQ(steps(5), row.name + std::to_string(i) + "; ");
        }
        inputs.channels[0] = 2100;
        EXPECT_EQ(steps(10), "");
        inputs.channels[0] = 900;
        EXPECT_EQ(steps(10), row.name + Text("; "));
    }
}

TEST_F(RcLoopTest, steps_have_hysteresis_and_ignore_what_does_not_hold) {
    map(0, Function::iso, 1000); // steps of 125 us, left 31.25 us beyond their ends
    EXPECT_EQ(walk(0, {1000, 1156}, 10), "");
    EXPECT_EQ(walk(0, {1157}, 10), "iso 1; ");
    EXPECT_EQ(walk(0, {1094}, 10), "");
    EXPECT_EQ(walk(0, {2000, 2000, 2000, 2000, 1200}, 20), "");
}

TEST_F(RcLoopTest, zoom_stick_drives_on_change_only) {
    map(0, Function::zoom, 1700);
    EXPECT_EQ(steps(3), ""); // where it starts from
    EXPECT_EQ(step(0, 1515), "drive ; ");
    EXPECT_EQ(walk(0, {1516, 2000}), "drive 1; ");
    EXPECT_EQ(walk(0, {1000, 1500}, 3), "drive -1; drive ; ");
}

TEST_F(RcLoopTest, digital_zoom_level_and_steps) {
    map(0, Function::digital_zoom, 1200);
    EXPECT_EQ(walk(0, {1200, 1207}), "");
    EXPECT_EQ(walk(0, {1210, 2100, 1000}), "level 21; level 100; level ; ");

    // The app's step moves the level with and without RC, not without a camera.
    inputs.zoom_step = -7;
    inputs.rc_enabled = false;
    EXPECT_EQ(steps(10), times(2, "change -7; "));
    inputs.camera_connected = false;
    EXPECT_EQ(steps(10), "");
    inputs.rc_enabled = inputs.camera_connected = true;

    map(1, Function::digital_zoom2, 1500);
    EXPECT_EQ(steps(5), "change -7; "); // the centre is where it starts from
    EXPECT_EQ(walk(1, {2000}, 5), "zoomstep 5; change 5; change 5; ");
    EXPECT_EQ(walk(1, {1300, 1500}, 10), "zoomstep -2; zoomstep ; ");
}

TEST_F(RcLoopTest, focus_follows_a_knob_20_times_a_second_at_most) {
    map(0, Function::focus, 1000);
    EXPECT_EQ(walk(0, {1000, 1009, 1010}), "focus 10; ");
    Text sent;
    for (int i = 1; i <= 50; ++i) // a second of turning
        sent += step(0, 1010 + i * 19);
    const auto count = std::count(sent.begin(), sent.end(), ';');
    EXPECT_TRUE(count >= 16 && count <= 20) << sent;
    EXPECT_TRUE(walk(0, {2200}, 10).ends_with("focus 1000; "));
    // The ends are reached from less than 1 % off, and chatter there sends nothing.
    EXPECT_EQ(walk(0, {1006}, 10), "focus 6; ");
    EXPECT_EQ(walk(0, {1002}, 10), "");
    EXPECT_EQ(walk(0, {1018}, 10), "focus 18; ");
    EXPECT_EQ(walk(0, {1008}, 10), "focus 8; ");
    EXPECT_EQ(walk(0, {1003, 1000, 1004, 1012}, 10), "focus ; ");
    inputs.channels[0] = 0;
    steps(1);
    EXPECT_EQ(walk(0, {1001, 1000, 1005, 1000}, 10), "");
    // What cannot be told without the focus range is told with it.
    inputs.focus_range_known = false;
    EXPECT_EQ(walk(0, {1400}, 10), "");
    inputs.focus_range_known = true;
    EXPECT_EQ(steps(10), "focus 400; ");
}

TEST_F(RcLoopTest, focus_point_follows_two_channels_5_times_a_second_at_most) {
    map(0, Function::focus_pan, 1300);
    steps(1);
    inputs.focus_y = 250; // where the camera says it is
    EXPECT_EQ(step(0, 1310), "point 310,250; ");
    map(1, Function::focus_tilt, 1900);
    EXPECT_EQ(walk(1, {1900, 1891}, 20), "");
    EXPECT_EQ(step(1, 1890), "point 310,890; ");
    inputs.channels = {1500, 1500};
    EXPECT_EQ(steps(9), "");
    EXPECT_EQ(steps(9), "point 500,500; ");
}

TEST_F(RcLoopTest, the_first_channel_of_a_function_that_is_there_counts) {
    map(0, Function::pan, 1500);
    map(1, Function::pan, 2000);
    map(2, Function::digital_zoom2, 1500);
    map(3, Function::digital_zoom2, 2000);
    map(4, Function::focus_tilt, 1500);
    map(5, Function::focus_tilt, 1900);
    EXPECT_EQ(steps(2), "");
    EXPECT_EQ(step(2, 2000), "zoomstep 5; change 5; ");
    inputs.channels[2] = inputs.channels[4] = 0;
    EXPECT_EQ(steps(10), "zoomstep ; "); // the others only start
    EXPECT_EQ(step(5, 1800), "point 500,800; ");
    inputs.channels[4] = 1000;
    EXPECT_EQ(steps(20), "");
    EXPECT_EQ(step(0, 0), move(1000));
}

TEST(RcInputs, app_focus_point_and_roll_speed_are_inputs) {
    const CameraReceiver camera;
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

TEST(RcInputs, channels_without_a_map_do_nothing) {
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

TEST(ControlSchedule, leaves_out_what_it_missed) {
    EXPECT_EQ(next_due(1000, 20, 1003), 1020);
    EXPECT_EQ(next_due(1000, 20, 1020), 1040);
    EXPECT_EQ(next_due(1000, 20, 9'999), 10'000);
}

} // namespace
} // namespace fieldrelaybox
