// Receivers with pulse outputs: what a transmitter sends, disturbed in every way that wires know.
#include "rcin/ppm.h"
#include "rcin/pulse_inputs.h"
#include "rcin/pwm.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

using namespace rcin;

namespace {

using Widths = std::vector<std::uint16_t>;
using Edges = std::vector<Edge>;

constexpr std::int64_t ms = 1'000'000;

// Adds a frame that ends with its gap, and returns when the next one starts.
std::int64_t add_ppm(Edges& edges, std::int64_t now, const Widths& widths,
                     bool idles_high = false) {
    std::int64_t at = now;
    for (std::size_t i = 0; i <= widths.size(); ++i) {
        edges.push_back({at, 0, !idles_high});
        edges.push_back({at + 300'000, 0, idles_high});
        at += (i < widths.size() ? widths[i] : 3100) * 1000;
    }
    return at;
}

std::vector<Frame> decode(const Edges& edges) {
    PpmDecoder decoder;
    std::vector<Frame> frames;
    for (const Edge& edge : edges)
        if (const std::optional<Frame> frame = decode_ppm(decoder, edge))
            frames.push_back(*frame);
    return frames;
}

Widths channels_of(const Frame& frame, std::size_t count) {
    return {frame.channels_us.begin(), frame.channels_us.begin() + static_cast<long>(count)};
}

const Widths sticks{700,  2300, 1500, 1000, 2000, 1234, 1501, 1499,
                    1500, 900,  2100, 1777, 1111, 1600, 800,  2299};

TEST(RcinPpm, channels_are_the_same_whichever_way_round_and_from_whichever_edge_on) {
    for (const bool idles_high : {false, true})
        for (std::size_t left_out = 0; left_out < 34; ++left_out) {
            Edges edges;
            for (std::int64_t i = 0, now = 5 * ms; i < 7; ++i)
                now = add_ppm(edges, now, sticks, idles_high);
            edges.erase(edges.begin(), edges.begin() + static_cast<long>(left_out));
            const std::vector<Frame> frames = decode(edges);
            ASSERT_GE(frames.size(), 2U) << left_out;
            for (const Frame& frame : frames)
                ASSERT_EQ(channels_of(frame, 16), sticks) << left_out;
        }
}

// 16 channels of 1550 us, so that without an edge two of them look like a gap.
TEST(RcinPpm, one_disturbed_frame_never_shows_and_stops_nothing) {
    const Widths even(16, 1550);
    const std::size_t kinds = 4;
    for (std::size_t kind = 0; kind < kinds; ++kind)
        for (std::size_t place = 0; place < 17; ++place) {
            Edges edges;
            std::int64_t now = 5 * ms;
            for (int i = 0; i < 9; ++i) {
                Edges frame;
                const std::int64_t next = add_ppm(frame, now, even);
                const auto edge = frame.begin() + static_cast<long>(2 * place);
                if (i == 4 && kind == 0) // lost
                    frame.erase(edge, edge + 2);
                else if (i == 4 && kind == 1) // one too many
                    frame.insert(edge + 1, {{edge->time_ns + 775'000, 0, true}, *(edge + 1)});
                else if (i == 4 && kind == 2) // two sticks elsewhere
                    edge->time_ns += 400'000;
                else if (i == 4) // the clock back, and the same time again
                    frame.insert(edge + 1, {{1, 0, true}, {1, 0, true}});
                edges.insert(edges.end(), frame.begin(), frame.end());
                now = next;
            }
            const std::vector<Frame> frames = decode(edges);
            ASSERT_GE(frames.size(), 3U) << kind << " at " << place;
            for (const Frame& frame : frames)
                ASSERT_EQ(channels_of(frame, 16), even) << kind << " at " << place;
        }
}

TEST(RcinPpm, another_number_of_channels_counts_after_three_frames) {
    Edges edges;
    std::int64_t now = 5 * ms;
    for (const std::size_t channels : {3, 8, 8, 8, 8, 6, 8, 6, 6, 6, 6, 17, 17, 17, 3, 3, 3, 3})
        now = add_ppm(edges, now, Widths(channels, 1500));
    std::string counts;
    for (const Frame& frame : decode(edges))
        counts += std::to_string(
            16 - std::count(frame.channels_us.begin(), frame.channels_us.end(), absent));
    EXPECT_EQ(counts, "88866");
    for (const std::uint16_t width : Widths{690, 2310, 3000}) {
        edges.clear();
        for (int i = 0; i < 5; ++i)
            now = add_ppm(edges, now, {1500, 1500, width, 1500, 1500, 1500, 1500, 1500});
        EXPECT_TRUE(decode(edges).empty()) << width;
    }
}

// Three lines that pulse one after the other.
struct PwmRound {
    Widths widths{1100, 1500, 1900}; // 0: no pulse
    std::int64_t now = 5 * ms;
    std::int64_t period = 20 * ms;
    PwmDecoder decoder{};

    // What is handed over in the round, not more than once.
    std::optional<Frame> play() {
        std::optional<Frame> last;
        for (std::size_t i = 0; i < widths.size(); ++i) {
            const std::int64_t at = now + static_cast<std::int64_t>(i) * 3 * ms;
            const auto line = static_cast<std::uint8_t>(i + 1);
            for (const Edge edge : {Edge{at, line, true}, Edge{at + widths[i] * 1000, line, false}})
                if (const auto frame = widths[i] > 0 ? decode_pwm(decoder, edge) : std::nullopt) {
                    EXPECT_FALSE(last);
                    last = frame;
                }
        }
        now += period;
        return last;
    }
};

TEST(RcinPwm, widths_are_channels_and_a_single_wrong_one_never_shows) {
    PwmRound rounds;
    EXPECT_FALSE(rounds.play());
    EXPECT_FALSE(rounds.play());
    const Widths wanted{0, 1100, 1500, 1900, 0};
    for (const std::uint16_t wrong : Widths{2200, 400, 2400, 0, 900}) {
        for (const std::uint16_t width : Widths{1500, wrong, 1500}) {
            rounds.widths[1] = width;
            const std::optional<Frame> frame = rounds.play();
            ASSERT_EQ(frame.has_value(), is_channel_width(width)) << wrong;
            EXPECT_TRUE(!frame || channels_of(*frame, 5) == wanted) << wrong;
        }
    }
}

// A pulse that is missing holds the frames back at once, so that a line that stops is soon lost.
TEST(RcinPwm, two_missing_pulses_of_a_line_are_tolerated_and_a_third_is_not) {
    struct Row {
        std::int64_t period;
        Widths widths;
        std::string frames;
    };
    const std::vector<Row> rows{
        {20 * ms, {0, 2400, 1700, 690, 2310, 1700, 1700}, "--x--xx"},
        {24 * ms, {0, 0, 1700, 0, 0, 1700}, "--x--x"},
        {20 * ms, {0, 690, 0, 1700, 1700, 1700, 1700}, "-----xx"}, // and then three again
        {3 * ms, {1700, 0, 0, 1700, 1700}, "x--xx"},
    };
    for (const Row& row : rows) {
        PwmRound rounds;
        for (int i = 0; i < 5; ++i)
            rounds.play();
        rounds.period = row.period;
        std::string frames;
        for (const std::uint16_t width : row.widths) {
            rounds.widths[2] = width;
            frames += rounds.play() ? 'x' : '-';
        }
        EXPECT_EQ(frames, row.frames) << row.period;
    }
}

struct RcinPulseInputs : testing::Test {
    std::string file = testing::TempDir() + "rcin_edges";

    Opened open(const std::string& text, Opened (&opener)(const std::string&)) const {
        std::ofstream(file) << text;
        return opener("edges:" + file);
    }
    ~RcinPulseInputs() override { std::filesystem::remove(file); }
};

TEST_F(RcinPulseInputs, a_recording_plays_in_its_own_time_and_ends_in_silence) {
    Edges edges;
    for (std::int64_t i = 0, now = 777 * ms; i < 6; ++i)
        now = add_ppm(edges, now, sticks);
    std::string text = "# by hand\n\n";
    for (const Edge& edge : edges)
        text += std::to_string(edge.time_ns) + (edge.high ? " 1\r\n" : "\t0\n");
    const Opened opened = open(text, open_ppm);
    ASSERT_TRUE(opened.input) << opened.fault;
    const std::int64_t start = 123'000'000;
    std::vector<std::int64_t> times;
    std::int64_t now = start;
    Reading reading{};
    for (; now != never_us && !reading.gone; now = reading.wake_us) {
        reading = opened.input->read(now, [&](const Frame& frame) {
            EXPECT_EQ(channels_of(frame, 16), sticks);
            times.push_back(now - start);
        });
        ASSERT_GT(reading.wake_us, now);
    }
    EXPECT_FALSE(reading.gone);
    const std::int64_t frame_us = (edges[34].time_ns - edges[0].time_ns) / 1000;
    EXPECT_EQ(times, (std::vector<std::int64_t>{4 * frame_us, 5 * frame_us}));
}

TEST_F(RcinPulseInputs, a_device_that_cannot_be_used_says_why) {
    for (const char* line : {"x 1", "1", "1 2", "-1 0", "1 1 2", "1 1 1 1", "1 1x",
                             "99999999999999999999 1", "2000000000000000000 1"}) {
        const Opened opened = open(std::string("5 1\n6 0 1\n") + line + "\n7 1\n", open_ppm);
        EXPECT_FALSE(opened.input);
        EXPECT_NE(opened.fault.find(file + " line 3"), std::string::npos) << line;
    }
    EXPECT_TRUE(open("1 1 8\n", open_pwm).input);
    EXPECT_FALSE(open("1 1 9\n", open_pwm).input);
    EXPECT_FALSE(open("# nothing\n", open_ppm).input);
    for (const char* device : {"gpiochip0", "gpiochip0:", "gpiochip0:4,", ":4", "gpiochip0:4,5",
                               "gpiochip0:-4", "gpiochip0:4 "})
        EXPECT_NE(open_ppm(device).fault.find("is not of the kind"), std::string::npos) << device;
    for (const char* device : {"edges:/dev/zero", "null:4", "no such chip:4"})
        EXPECT_NE(open_ppm(device).fault, "") << device;
}

} // namespace
