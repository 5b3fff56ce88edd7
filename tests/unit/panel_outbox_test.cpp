// What waits for a browser: its bounds, its order, and what a slow one loses.
#include "panel/outbox.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <vector>

using namespace panel;

namespace {

constexpr std::int64_t frame_us = 40'000;

SharedMessage status(std::vector<std::uint8_t> bytes, std::size_t size = 0) {
    bytes.resize(std::max(size, bytes.size()));
    return make_status_message(bytes);
}
SharedMessage make_json(std::string text, std::size_t size = 0) {
    text.resize(std::max(size, text.size()));
    return status({text.begin(), text.end()});
}
SharedMessage picture(std::int64_t time_us, std::size_t size = 100) {
    return make_picture_message(std::vector<std::uint8_t>(size), 0, time_us);
}
SharedMessage sound(std::int64_t time_us, std::size_t size = 100) {
    return make_sound_message(std::vector<std::uint8_t>(size), time_us);
}

struct PanelOutbox : testing::Test {
    Outbox outbox;

    std::vector<SharedMessage> take_all() {
        std::vector<SharedMessage> taken;
        while (const SharedMessage next = take_next(outbox))
            taken.push_back(next);
        EXPECT_EQ(outbox.status_bytes, 0U);
        EXPECT_EQ(outbox.media_bytes, 0U);
        return taken;
    }
};

using Taken = std::vector<SharedMessage>;

TEST_F(PanelOutbox, a_reader_that_comes_back_sees_the_newest_of_each_and_every_reply) {
    const SharedMessage battery = status({1, 50}), newer_battery = status({1, 49, 0, 0});
    const SharedMessage data_link = status({5, 0, 2}), video_link = status({5, 1, 2});
    const SharedMessage lost_video = status({5, 1, 0});
    const SharedMessage scan = make_json(R"({"cmd":1})");
    const SharedMessage report = make_json("{1}"), newer_report = make_json("{}");
    const SharedMessage told = make_panel_message("{1}"), told_too = make_panel_message("{2}");
    const SharedMessage state = make_panel_message("{3}"), newer_state = make_panel_message("{4}");
    put_sound(outbox, sound(0));
    for (const auto& message :
         {battery, data_link, scan, video_link, state, report, scan, newer_report, newer_battery})
        EXPECT_TRUE(put_status(outbox, message));
    EXPECT_TRUE(put_told(outbox, told));
    EXPECT_TRUE(put_told(outbox, told_too));
    EXPECT_TRUE(put_status(outbox, newer_state));
    EXPECT_TRUE(put_status(outbox, lost_video));
    Taken taken = take_all();
    ASSERT_EQ(taken.size(), 10U);
    taken.pop_back(); // the sound: status goes first
    EXPECT_EQ(taken, (Taken{newer_battery, data_link, scan, lost_video, newer_state, newer_report,
                            scan, told, told_too}));
    for (const auto& message : {battery, report, scan})
        put_status(outbox, message);
    drop_records(outbox);
    EXPECT_EQ(take_all(), Taken{scan});
}

TEST_F(PanelOutbox, only_replies_that_nobody_reads_send_a_browser_away) {
    for (unsigned code = 20; code < 120; ++code) // records of a hostile box
        EXPECT_TRUE(put_status(outbox, status({static_cast<std::uint8_t>(code)}, 60'000)));
    EXPECT_TRUE(put_status(outbox, status({20}, 250'000))); // in place of one
    EXPECT_LE(outbox.status_bytes, outbox_status_bytes);
    const SharedMessage report = make_json("{", 60'000), reply = make_json(R"({"cmd":)", 60'000);
    for (int i = 0; i < 8; ++i) // they come in a burst, before anything can be sent
        EXPECT_TRUE(put_status(outbox, report));
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(put_status(outbox, reply));
    EXPECT_FALSE(put_status(outbox, reply));
    EXPECT_TRUE(put_status(outbox, status({20}, 60'000)));
    EXPECT_EQ(take_all(), (Taken{report, reply, reply, reply}));
}

TEST_F(PanelOutbox, a_slow_reader_goes_on_at_the_next_key_picture) {
    const SharedMessage key = picture(0, 700'000), sound_of_key = sound(1), next = picture(2);
    put_picture(outbox, next, 0);
    put_picture(outbox, key, picture_is_key | picture_is_damaged);
    put_sound(outbox, sound_of_key);
    put_picture(outbox, next, 0);
    EXPECT_EQ(outbox.pictures_left_out, 1U); // a decoder cannot begin with the first
    EXPECT_EQ(take_all(), (Taken{key, sound_of_key, next}));
    // Two of these are more than there may be; a third one, a key picture, fits alone.
    put_picture(outbox, picture(3, 900'000), 0);
    put_picture(outbox, picture(4, 900'000), 0);
    EXPECT_EQ(outbox.media.size(), 0U);
    const SharedMessage heard = sound(5), later_key = picture(6), last = picture(7);
    put_sound(outbox, heard);
    put_picture(outbox, picture(6), 0);
    put_picture(outbox, later_key, picture_is_key);
    put_picture(outbox, last, 0);
    EXPECT_EQ(outbox.pictures_left_out, 4U);
    EXPECT_EQ(take_all(), (Taken{heard, later_key, last}));
    put_picture(outbox, picture(8, outbox_bytes), picture_is_key);
    EXPECT_EQ(take_all(), Taken{});
    put_picture(outbox, later_key, picture_is_key);
    drop_media(outbox);
    put_picture(outbox, last, 0);
    EXPECT_EQ(take_all(), Taken{});
}

TEST_F(PanelOutbox, the_first_group_is_whole_however_large_it_is) {
    Taken expected(60, picture(0, 60'000));
    put_sound(outbox, sound(1));
    put_first_group(outbox, expected);
    put_picture(outbox, picture(2), 0);
    EXPECT_LE(outbox.media_bytes, 1000U);
    EXPECT_EQ(outbox.media.size(), expected.size() + 2);
    EXPECT_EQ(take_next(outbox), expected[0]);
    const SharedMessage key = picture(3 * media_wait_us);
    put_picture(outbox, key, picture_is_key); // the rest would be of the past
    EXPECT_EQ(take_all(), Taken{key});
    put_first_group(outbox, expected);
    put_picture(outbox, key, 0);
    expected.push_back(key);
    EXPECT_EQ(take_all(), expected);
}

TEST_F(PanelOutbox, what_waited_too_long_gives_way_to_what_is_new) {
    const std::int64_t late = media_wait_us + frame_us;
    const SharedMessage key = picture(0), soon = picture(media_wait_us), much_later = picture(late);
    put_picture(outbox, key, picture_is_key);
    put_picture(outbox, soon, picture_is_key);
    EXPECT_EQ(take_all(), (Taken{key, soon}));
    put_picture(outbox, key, picture_is_key);
    put_sound(outbox, sound(late)); // a picture is before it
    put_picture(outbox, picture(late), 0);
    EXPECT_EQ(outbox.media.size(), 3U);
    put_picture(outbox, much_later, picture_is_key);
    EXPECT_EQ(take_all(), Taken{much_later});
    for (std::int64_t time = 0; time <= 10 * media_wait_us; time += frame_us)
        put_sound(outbox, sound(time));
    const Taken heard = take_all();
    ASSERT_EQ(heard.size(), media_wait_us / frame_us + 1U);
    EXPECT_EQ(bytes_of(*heard.back())[2], bytes_of(*sound(10 * media_wait_us))[2]);
}

TEST_F(PanelOutbox, whatever_comes_its_bound_holds_and_after_a_loss_comes_a_key_picture) {
    std::srand(1);
    std::uint32_t last = 0;
    int taken = 0;
    for (std::uint32_t number = 2; number < 5'000; ++number) {
        const auto size = static_cast<std::size_t>(std::rand() % 120'000);
        const std::uint8_t flags = std::rand() % 10 == 0 ? picture_is_key : 0;
        put_picture(outbox, make_picture_message(std::vector<std::uint8_t>(size), flags, number),
                    flags);
        put_sound(outbox, sound(number, size / 100));
        if (size % 5 == 0)
            put_status(outbox, status({static_cast<std::uint8_t>(size % 100)}, size));
        ASSERT_LE(outbox.status_bytes, outbox_status_bytes);
        ASSERT_LE(outbox.status_bytes + outbox.media_bytes, outbox_bytes);
        for (int i = std::rand() % 4; i > 0; --i) {
            const SharedMessage next = take_next(outbox);
            if (next == nullptr || bytes_of(*next)[0] != 1)
                continue;
            const std::uint32_t number_taken = fieldrelaybox::get_u32le(&bytes_of(*next)[2]);
            ASSERT_TRUE(number_taken == last + 1 || bytes_of(*next)[1] == picture_is_key);
            last = number_taken;
            ++taken;
        }
    }
    EXPECT_GT(outbox.pictures_left_out, 100U);
    EXPECT_GT(taken, 500);
}

} // namespace
