// The box's messages: swapped, lost, doubled, and of a box that began anew.
#include "panel/message_order.h"

#include <array>
#include <gtest/gtest.h>
#include <vector>

namespace {

using namespace panel;

constexpr std::uint32_t last_number = 0xFFFFFFFF;

// What comes out: numbers, a -1 before each that has a gap before it.
struct Heard {
    std::vector<std::int64_t> numbers;
    std::vector<std::int64_t> times;
};

TakeInOrder taker(Heard& heard) {
    return [&heard](fieldrelaybox::Bytes datagram, std::int64_t came_us, bool gap) {
        if (gap)
            heard.numbers.push_back(-1);
        heard.numbers.push_back(fieldrelaybox::get_u32le(&datagram[4]));
        heard.times.push_back(came_us);
    };
}

void send(MessageOrder& order, std::uint32_t number, std::int64_t now_us, Heard& heard) {
    std::array<std::uint8_t, message_header_size + 1> datagram{'B', 1};
    fieldrelaybox::put_u32le(&datagram[4], number);
    take_message(order, datagram, now_us, taker(heard));
    datagram.fill(0xEE); // what waits is a copy
}

MessageOrder begun_with(std::uint32_t number) {
    MessageOrder order;
    start_order_anew(order, true);
    Heard heard;
    send(order, number, 0, heard);
    EXPECT_EQ(heard.numbers, (std::vector<std::int64_t>{-1, number}));
    return order;
}

// Begun with first, then these numbers came: what came out, what was lost and doubled.
struct Case {
    std::uint32_t first;
    std::vector<std::uint32_t> sent;
    std::vector<std::int64_t> heard;
    std::uint64_t lost;
    std::uint64_t doubled;
};

const std::vector<Case> cases{
    {10, {11, 12, 13}, {11, 12, 13}, 0, 0},
    {10, {12, 11, 14, 13}, {11, 12, 13, 14}, 0, 0},
    {10, {18, 17, 16, 15, 14, 13, 12, 11}, {11, 12, 13, 14, 15, 16, 17, 18}, 0, 0},
    {10, {12, 13, 14, 15, 16, 17, 18, 19}, {-1, 12, 13, 14, 15, 16, 17, 18, 19}, 1, 0},
    {10, {13, 15, 21}, {-1, 13}, 2, 0},         // 14 may still come
    {10, {13, 15, 23}, {-1, 13, -1, 15}, 3, 0}, // 14 not any more
    {10, {1000, 993, 994}, {-1, 993, 994}, 982, 0},
    {10, {12, 12, 11, 11, 10, 13}, {11, 12, 13}, 0, 3},
    {1000, {0, 1, 3, 2}, {-1, 0, 1, 2, 3}, 0, 0}, // a box that began anew
    {1000, {1002, 500'000, 500'001}, {-1, 500'000, 500'001}, 0, 0},
    {last_number - 1, {0, last_number, 1, 3, 2}, {last_number, 0, 1, 2, 3}, 0, 0},
    {last_number - 1, {1, 2, 3, 4, 5, 6, 7, 8}, {-1, 1, 2, 3, 4, 5, 6, 7, 8}, 2, 0},
};

TEST(PanelMessageOrder, swaps_are_put_right_and_losses_counted_once) {
    for (const Case& each : cases) {
        MessageOrder order = begun_with(each.first);
        Heard heard;
        for (const std::uint32_t number : each.sent)
            send(order, number, 0, heard);
        EXPECT_EQ(heard.numbers, each.heard) << each.first << " " << each.sent[0];
        EXPECT_EQ(order.lost, each.lost) << each.first << " " << each.sent[0];
        EXPECT_EQ(order.doubled, each.doubled) << each.first << " " << each.sent[0];
    }
}

TEST(PanelMessageOrder, nobody_waits_longer_than_the_time) {
    MessageOrder order = begun_with(10);
    Heard heard;
    EXPECT_EQ(due_us(order), never_us);
    send(order, 12, 100, heard);
    send(order, 13, 200, heard);
    send(order, 15, 300, heard);
    EXPECT_EQ(due_us(order), 100 + order_wait_us);
    pass_time(order, 100 + order_wait_us - 1, taker(heard));
    EXPECT_TRUE(heard.numbers.empty());
    pass_time(order, 100 + order_wait_us, taker(heard));
    EXPECT_EQ(heard.numbers, (std::vector<std::int64_t>{-1, 12, 13}));
    EXPECT_EQ(heard.times, (std::vector<std::int64_t>{100, 200}));
    EXPECT_EQ(due_us(order), 300 + order_wait_us);
    start_order_anew(order, true); // what waited is of another box
    EXPECT_EQ(due_us(order), never_us);
    send(order, 14, 400, heard);
    EXPECT_EQ(heard.numbers, (std::vector<std::int64_t>{-1, 12, 13, -1, 14}));
    EXPECT_EQ(order.lost, 1U);
}

TEST(PanelMessageOrder, without_numbers_all_goes_on_as_it_comes) {
    MessageOrder order;
    start_order_anew(order, false);
    Heard heard;
    for (const std::uint32_t number : {5U, 900U, 3U, 3U})
        send(order, number, 0, heard);
    EXPECT_EQ(heard.numbers, (std::vector<std::int64_t>{5, 900, 3, 3}));
    EXPECT_EQ(order.lost + order.doubled, 0U);
    const std::array<std::uint8_t, message_header_size - 1> cut{};
    take_message(order, cut, 0, taker(heard));
    EXPECT_EQ(heard.numbers.size(), 4U);
}

} // namespace
