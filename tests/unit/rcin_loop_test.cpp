// What rcin makes of frames, devices and times: states, channels, and which device is whose.
#include "rcin/attachment.h"
#include "rcin/devices.h"
#include "rcin/modes.h"
#include "rcin/receiver.h"

#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace rcin;

namespace {

constexpr std::int64_t second_us = 1'000'000;

Frame frame_of(std::uint16_t value, bool failsafe = false, std::uint16_t digital = absent) {
    Frame frame{.digital_us = {digital, digital}, .failsafe = failsafe};
    frame.channels_us.fill(value);
    return frame;
}

// A receiver that is in that state at time 0.
Receiver receiver_in(State state, std::uint16_t value = 1500, std::uint16_t digital = absent) {
    Receiver receiver;
    receiver.is_on = state != State::off;
    note_device(receiver, state > State::no_device);
    if (state > State::waiting)
        note_frame(receiver, frame_of(value, state == State::failsafe, digital),
                   state == State::lost ? -patience_us : 0);
    return receiver;
}

TEST(RcinReceiver, is_lost_in_time_and_nothing_is_due_any_more) {
    Receiver receiver = receiver_in(State::waiting);
    EXPECT_EQ(loss_us(receiver, 0), never_us);
    note_frame(receiver, frame_of(1500), 5);
    EXPECT_EQ(state_of(receiver, 5 + patience_us - 1), State::good);
    EXPECT_EQ(loss_us(receiver, 6), 5 + patience_us);
    EXPECT_EQ(state_of(receiver, 5 + patience_us), State::lost);
    EXPECT_EQ(loss_us(receiver, 5 + patience_us), never_us); // else the loop would never sleep
}

TEST(RcinReceiver, two_come_to_the_better_one_and_only_good_ones_have_channels) {
    constexpr std::array states{State::off,  State::no_device, State::waiting,
                                State::lost, State::failsafe,  State::good};
    for (std::size_t first = 0; first < states.size(); ++first)
        for (std::size_t second = 0; second < states.size(); ++second)
            for (const bool learning : {false, true}) {
                const Outcome outcome = combine(receiver_in(states[first], 1100),
                                                receiver_in(states[second], 1900), learning, 0);
                const State better = states[std::max(first, second)];
                const State expected =
                    learning && better == State::good ? State::calibrating : better;
                EXPECT_EQ(outcome.state, expected) << first << ' ' << second;
                const auto value_if_good = [&](std::size_t state, int value) {
                    return states[state] == State::good ? value : absent;
                };
                for (std::size_t i = 0; i < channel_count; ++i)
                    EXPECT_EQ(outcome.channels_us[i],
                              i < 16 ? value_if_good(first, 1100) : value_if_good(second, 1900));
            }
}

TEST(RcinReceiver, digital_channels_have_a_place_when_there_is_no_second_receiver) {
    const Receiver digital = receiver_in(State::good, 1500, 2000);
    const Receiver off = receiver_in(State::off);
    const Receiver other = receiver_in(State::no_device);
    EXPECT_EQ(combine(digital, off, false, 0).channels_us[17], 2000);
    EXPECT_FALSE(leaves_digital_out(digital, off));
    EXPECT_EQ(combine(digital, other, false, 0).channels_us[17], absent);
    EXPECT_TRUE(leaves_digital_out(digital, other));
    EXPECT_TRUE(leaves_digital_out(other, digital));
    EXPECT_EQ(combine(receiver_in(State::failsafe, 1500, 2000), off, false, 0).channels_us[16],
              absent);
}

struct WiringCase {
    Modes modes;
    std::string rc1; // its device; empty: off
    std::string rc2;
    bool told_off[2];
};

TEST(RcinModes, the_first_receiver_of_a_kind_gets_the_first_device) {
    const Devices all{
        .path = {}, .uart = "u1", .uart2 = "u2", .ppm = "p1", .ppm2 = "p2", .pwm = "w", .pad = "a"};
    for (const WiringCase& each : std::initializer_list<WiringCase>{
             {{"sbus", "sbus"}, "u1", "u2", {}},
             {{"pad", "crsf"}, "a", "u1", {}},
             {{"off", "ibus"}, "", "u1", {}},
             {{"ppm", "ppm"}, "p1", "p2", {}},
             {{"pwm", "ppm"}, "w", "p1", {}},
             {{"pwm", "pwm"}, "w", "", {false, true}},
             {{"off", "off"}, "", "", {}},
         }) {
        const auto [rc1, rc2] = wire_receivers(each.modes, all);
        EXPECT_EQ(rc1.device, each.rc1) << each.modes.rc1;
        EXPECT_EQ(rc2.device, each.rc2) << each.modes.rc2;
        EXPECT_EQ(rc1.open != nullptr, !each.rc1.empty());
        EXPECT_EQ(rc2.open != nullptr, !each.rc2.empty());
        EXPECT_EQ(!rc1.fault.empty(), each.told_off[0]);
        EXPECT_EQ(!rc2.fault.empty(), each.told_off[1]);
    }
    Devices second;
    second.path = "wires";
    second.uart2 = "u2";
    const auto [rc1, rc2] = wire_receivers({"sbus", "crsf"}, second);
    EXPECT_EQ(rc1.open, nullptr);
    EXPECT_NE(rc1.fault.find(" uart= in wires"), std::string::npos) << rc1.fault;
    EXPECT_EQ(rc2.device, "u2");
}

TEST(RcinDevices, a_bad_line_costs_no_other) {
    const std::string path = testing::TempDir() + "rcin.conf";
    std::ofstream(path) << "# wiring\nuart = /dev/ttyAMA0 ; the first\nuart9=x\nnonsense\n"
                           "[somewhere]\nppm=gpiochip0:4\npad=\npwm=a:1,2\n";
    testing::internal::CaptureStderr();
    const Devices devices = read_devices(path);
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_EQ(devices.uart + '|' + devices.ppm + '|' + devices.pwm + '|' + devices.pad,
              "/dev/ttyAMA0|gpiochip0:4|a:1,2|");
    EXPECT_NE(told.find(path + " line 3 "), std::string::npos) << told;
    EXPECT_NE(told.find(path + " line 4 "), std::string::npos) << told;
    EXPECT_EQ(std::ranges::count(told, '\n'), 2) << told;
    testing::internal::CaptureStderr();
    EXPECT_EQ(read_devices("/nonexistent/rcin.conf").uart, "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "cannot read /nonexistent/rcin.conf: No such file or directory\n");
}

// A device that a test plugs in and out.
struct Bench {
    bool plugged = true;
    int opened = 0;
    std::vector<int> descriptors{7};
    bool sends = true;
    Reading reading;
    std::string hint;
};
Bench bench;

Opened open_bench(const std::string& /*device*/) {
    ++bench.opened;
    if (!bench.plugged)
        return {.input = {}, .fault = "unplugged", .hint = {}};
    return {.input = Input{.descriptors = bench.descriptors,
                           .read =
                               [](std::int64_t, const TakeFrame& take) {
                                   if (bench.sends)
                                       take(frame_of(1700));
                                   return bench.reading;
                               }},
            .fault = {},
            .hint = bench.hint};
}

TEST(RcinAttachment, what_becomes_of_a_device_is_told_once) {
    bench = {.sends = false, .reading = {}, .hint = "no parity"};
    Attachment attachment;
    attach(attachment, "RC1", {.open = open_bench, .device = "bench", .fault = {}}, 0);
    testing::internal::CaptureStderr();
    for (std::int64_t now_us = 0; now_us < 20 * second_us; now_us += 50'000) {
        bench.plugged = now_us > 10 * second_us;
        bench.reading = {.gone = now_us == 13 * second_us, .wake_us = now_us};
        bench.sends = now_us > 16 * second_us;
        serve(attachment, {}, now_us);
        tell_state(attachment, now_us < 18 * second_us, now_us);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "RC1: no device: unplugged\nRC1: no parity\n"
              "RC1: the device is there, waiting for a signal\nRC1: no device: it went away\n"
              "RC1: the device is there, waiting for a signal\nRC1: calibrating\n"
              "RC1: signal good\n");
}

} // namespace
