#include "rcin/calibration.h"
#include "rcin/calibration_file.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using rcin::Calibration;
using rcin::Channels;
using rcin::Travel;

constexpr std::int64_t tick = 20'000; // us between two frames

struct Pilot {
    rcin::Learning learning{};
    Channels channels{};
    std::int64_t now = 1'000'000;

    std::optional<Calibration> hold(std::int64_t time) {
        for (const std::int64_t end = now + time; now < end;) {
            if (auto calibration = rcin::learn(learning, channels, now += tick))
                return calibration;
        }
        return {};
    }
    void move(std::size_t channel, std::initializer_list<std::uint16_t> values) {
        for (const std::uint16_t value : values) {
            channels[channel] = value;
            EXPECT_FALSE(hold(tick));
        }
    }
};

TEST(RcinCalibration, learns_sticks_and_switches_and_leaves_the_rest) {
    Pilot pilot;
    pilot.channels = {1480, 1000, 1500, 1500, 3000, 1500, 1500, 1500, 1500};
    EXPECT_FALSE(pilot.hold(10'000'000));            // nothing has moved yet
    pilot.move(0, {1100, 3000, 1930, 400, 0, 1480}); // some of that is no pulse
    EXPECT_FALSE(pilot.hold(10'000'000));            // one alone is not enough
    pilot.move(1, {2000, 1000});
    pilot.move(2, {1200, 1500});       // 300 are not more than 300
    pilot.move(5, {1000, 2000, 1332}); // beside the middle third
    pilot.move(6, {1000, 2000, 1333});
    pilot.move(7, {1000, 2000, 1667});
    pilot.move(8, {1000, 2000, 1668});
    pilot.move(16, {1000, 1300, 0}); // too little to be missed
    EXPECT_FALSE(pilot.hold(2'000'000 - 2 * tick));
    pilot.channels[3] = 1505; // rests all the same
    EXPECT_FALSE(pilot.hold(tick));
    pilot.channels[3] = 1506;
    EXPECT_FALSE(pilot.hold(2'000'000));
    const auto learnt = pilot.hold(tick);
    ASSERT_TRUE(learnt);
    Calibration expected;
    expected[0] = {1100, 1480, 1930};
    for (const std::size_t one_with_a_switch : {1, 5, 8})
        expected[one_with_a_switch] = {1000, 1500, 2000};
    expected[6] = {1000, 1333, 2000};
    expected[7] = {1000, 1667, 2000};
    EXPECT_EQ(*learnt, expected);
}

TEST(RcinCalibration, maps_each_side_linearly) {
    Calibration calibration;
    calibration[0] = {1100, 1500, 1800};
    calibration[1] = {1000, 1001, 1002};
    const auto mapped = [&](std::uint16_t first, std::uint16_t second) {
        const Channels out = rcin::calibrated(calibration, {first, second, 1234});
        EXPECT_EQ(out[2], 1234);
        return std::pair(out[0], out[1]);
    };
    using Pair = std::pair<std::uint16_t, std::uint16_t>;
    EXPECT_EQ(mapped(0, 0), Pair(0, 0));
    EXPECT_EQ(mapped(900, 1), Pair(1000, 1000));
    EXPECT_EQ(mapped(1303, 1001), Pair(1254, 1500)); // 1253.75
    EXPECT_EQ(mapped(1500, 1000), Pair(1500, 1000));
    EXPECT_EQ(mapped(1601, 1002), Pair(1668, 2000)); // 1668.33
    EXPECT_EQ(mapped(65535, 65535), Pair(2000, 2000));
}

TEST(RcinCalibrationFile, only_a_whole_one_of_these_modes_is_used) {
    const auto read = [](const std::string& text) {
        return rcin::parse_calibration("/x", text, {.rc1 = "sbus", .rc2 = "off"});
    };
    const std::string text =
        "rcin-calibration 1 sbus off\n1 1100 1480 1930\n32 500 501 2500\nend\n";
    Calibration calibration;
    calibration[0] = {1100, 1480, 1930};
    calibration[31] = {500, 501, 2500};
    EXPECT_EQ(rcin::format_calibration(calibration, {.rc1 = "sbus", .rc2 = "off"}), text);
    std::string dos = text;
    for (std::size_t at = 0; (at = dos.find('\n', at)) != std::string::npos; at += 2)
        dos.insert(at, 1, '\r');
    for (const std::string& whole : {text, dos})
        EXPECT_EQ(read(whole).calibration, calibration);

    const std::string head = "rcin-calibration 1 sbus off\n";
    std::vector<std::string> all{"rcin-calibration 2 sbus off\nend\n",
                                 "rcin-calibration 1 ppm off\nend\n", text + "\n", text + text};
    for (const char* line :
         {"0 1000 1500 2000", "33 1000 1500 2000", "1 499 1500 2000", "1 1000 1500 2501",
          "1 1500 1500 2000", "1 1000 2000 2000", "1 1000 1500", "1 1000 1500 2000 1",
          "1 1000  1500 2000", "1 1000 +1500 2000", "1 1000 1500 99999999999",
          "1 1000 1500 2000\n1 1000 1500 2000", ""})
        all.push_back(head + line + "\nend\n");
    for (std::size_t size = 0; size < text.size() - 1; ++size) { // what power that went has left
        all.push_back(text.substr(0, size));
        all.push_back(text.substr(0, size) + std::string(text.size() - size, '\0'));
    }
    for (const std::string& each : all) {
        const auto stored = read(each);
        EXPECT_FALSE(stored.calibration) << each;
        EXPECT_TRUE(stored.fault.starts_with("/x")) << each;
    }
    const auto none = rcin::read_calibration("/nonexistent", {.rc1 = "sbus", .rc2 = "off"});
    EXPECT_FALSE(none.calibration);
    EXPECT_EQ(none.fault, "");
}

} // namespace
