// Who moves what, and that everything that moves is stopped in time.
#include "panel/holds.h"
#include "panel/times.h"

#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

using namespace panel;

namespace {

std::string turn(const std::string& pan, const std::string& tilt) {
    return R"({"cmd":"position","param":"moverel","value1":")" + pan + R"(","value2":")" + tilt +
           "\"}";
}

std::string drive(const std::string& direction) {
    return R"({"cmd":"zoom","param":"-3","value1":")" + direction + "\"}";
}

const std::string gimbal_stop = turn("0", "0");
const std::string question = R"({"cmd":"configrequest"})";

struct PanelHolds : testing::Test {
    Holds holds;
    std::int64_t now = 1'000'000'000;
    std::vector<std::string> sent;
    SendCommand send = [this](const std::string& json) { sent.push_back(json); };

    bool turns(BrowserId who, int a, int b) {
        return hold(holds, Held::gimbal, who, {a, b}, now, send);
    }
    bool drives(BrowserId who, int a) { return hold(holds, Held::zoom, who, {a, 7}, now, send); }
    std::vector<std::string> take() { return std::exchange(sent, {}); }
    // As a loop does it: called when it is due and never else. What is sent with its time from now.
    std::vector<std::pair<std::int64_t, std::string>> pass(std::int64_t time_us) {
        std::vector<std::pair<std::int64_t, std::string>> told;
        const std::int64_t began = now;
        for (now = due_us(holds); now <= began + time_us; now = due_us(holds)) {
            pass_time(holds, now, send);
            EXPECT_GT(due_us(holds), now);
            for (const std::string& json : take())
                told.emplace_back(now - began, json);
        }
        now = began + time_us;
        return told;
    }
};

using Wanted = std::vector<std::string>;
using Timed = std::vector<std::pair<std::int64_t, std::string>>;

TEST_F(PanelHolds, a_move_lasts_as_long_as_it_is_repeated) {
    EXPECT_EQ(due_us(holds), never_us);
    ASSERT_TRUE(turns(3, -300, 20));
    EXPECT_EQ(take(), Wanted{turn("-300", "20")});
    std::string told;
    for (int i = 0; i < 12; ++i) { // 2.4 s: the move goes out once a second, not with each hold
        for (const auto& [time, json] : pass(200'000))
            told += std::to_string(200 * i + time / 1000) + json;
        ASSERT_TRUE(turns(3, -300, 20));
        EXPECT_EQ(take(), Wanted{});
    }
    EXPECT_EQ(told, "1000" + turn("-300", "20") + "2000" + turn("-300", "20"));
    ASSERT_TRUE(turns(3, 5000, -5000));
    EXPECT_EQ(take(), Wanted{turn("1000", "-1000")});
    ASSERT_TRUE(turns(3, 1, 2));
    take();
    // Silence: the stop is under way within 500 ms, three times, the last with a question. Once
    // that is answered nothing is due any more.
    EXPECT_EQ(pass(520'000), (Timed{{400'000, gimbal_stop},
                                    {460'000, gimbal_stop},
                                    {520'000, gimbal_stop},
                                    {520'000, question}}));
    EXPECT_TRUE(may_move(holds));
    take_answer(holds);
    EXPECT_FALSE(may_move(holds));
    EXPECT_EQ(due_us(holds), never_us);
    EXPECT_EQ(holder_of(holds, Held::gimbal), 0U);
}

TEST_F(PanelHolds, who_began_keeps_it_until_it_lets_go) {
    ASSERT_TRUE(turns(1, 100, 0));
    EXPECT_FALSE(turns(2, -100, 0));
    release(holds, Held::gimbal, 2, now, send);
    release_all(holds, 2, now, send);
    EXPECT_TRUE(drives(2, 9)); // that is something else
    EXPECT_EQ(take(), (Wanted{turn("100", "0"), drive("1")}));
    EXPECT_EQ(holder_of(holds, Held::gimbal), 1U);
    // A hold that rests has stopped, and is a hold still: neither its silence nor its end stops
    // again.
    ASSERT_TRUE(turns(1, 0, 0));
    ASSERT_TRUE(turns(1, 0, 0));
    EXPECT_EQ(take(), Wanted{gimbal_stop});
    EXPECT_FALSE(turns(2, -100, 0));
    pass(200'000);
    release_all(holds, 1, now, send);
    EXPECT_EQ(take(), Wanted{});
    // The next one begins at once, and the stops of the one before do not stop it.
    ASSERT_TRUE(turns(1, 100, 0));
    release(holds, Held::gimbal, 1, now, send);
    EXPECT_EQ(take(), (Wanted{turn("100", "0"), gimbal_stop}));
    ASSERT_TRUE(turns(2, -100, 0));
    EXPECT_EQ(take(), Wanted{turn("-100", "0")});
    for (const auto& [time, json] : pass(390'000))
        EXPECT_TRUE(json == drive("0") || json == question) << time << json;
    // So does one that comes just when the time of the other is over.
    now += 10'000;
    EXPECT_TRUE(turns(1, 50, 0));
    EXPECT_EQ(holder_of(holds, Held::gimbal), 1U);
}

TEST_F(PanelHolds, a_stop_that_may_be_lost_is_sent_again) {
    turns(1, 100, 0);
    pass(50'000);
    release(holds, Held::gimbal, 1, now, send);
    take_answer(holds); // asked for before the stop
    pass(130'000);
    EXPECT_TRUE(may_move(holds));
    for (int i = 0; i < late_stop_count; ++i) { // while nothing is heard
        const Timed told = pass(500'000);
        ASSERT_EQ(told.size(), 2U) << i;
        EXPECT_EQ(told[0].second + told[1].second, gimbal_stop + question);
    }
    EXPECT_EQ(due_us(holds), never_us); // for others may move it by now
    take();
    stop_again(holds, now, send); // but a box that is heard again may still turn
    EXPECT_EQ(take(), Wanted{gimbal_stop});
    pass(700'000);
    turns(1, 100, 0);
    take_answer(holds); // of the stop before: this move goes on
    EXPECT_TRUE(may_move(holds));
    take();
    stop_again(holds, now, send);
    EXPECT_EQ(take(), Wanted{});
}

} // namespace
