// The way to a box, against one that a test plays on loopback.
#include "panel/box_link.h"

#include "unit/played_box.h"

namespace {

using namespace panel;
using fieldrelaybox::Bytes;

const std::string all_kinds{'\0', '\0'};
const std::string data_only{'\0', '\1'};
const std::string good_bye{'\1'};

std::string text_of(Bytes bytes) {
    return {bytes.begin(), bytes.end()};
}

struct PanelBoxLink : testing::Test {
    PlayedBox box;
    BoxLink link;
    std::string all; // that was handed over: kind, payload, "!" for a gap
    int changes = 0;

    bool open(const std::string& name) {
        return open_box_link(
            link, name,
            {.status = [&](Bytes payload) { all += "s" + text_of(payload); },
             .video = [&](Bytes payload, std::int64_t,
                          bool gap) { all += (gap ? "!v" : "v") + text_of(payload); },
             .sound = [&](Bytes payload, std::int64_t) { all += "a" + text_of(payload); },
             .changed = [&] { ++changes; }});
    }
    void TearDown() override { close_box_link(link); }

    // Opened without a box's name; looks around at the time 0.
    void look_around() {
        ASSERT_TRUE(open(""));
        link.port = ntohs(box.address().sin_port);
        pass_time(link, 0);
        EXPECT_EQ(box.next(), good_bye); // else one that knows us would not answer
        EXPECT_EQ(box.next(), data_only);
        EXPECT_EQ(due_us(link), 3 * second_us);
    }
    void answer(PlayedBox& from, std::size_t boxes, std::int64_t now_us) {
        from.say("B");
        take_datagrams(link, now_us);
        EXPECT_EQ(link.found.size(), boxes);
        EXPECT_EQ(from.next(), good_bye); // it has registered us
    }
};

TEST_F(PanelBoxLink, registers_again_and_again_and_notices_silence) {
    ASSERT_TRUE(open(box.name()));
    EXPECT_EQ(due_us(link), 0); // at once
    pass_time(link, 0);
    EXPECT_EQ(box.next(), data_only);
    EXPECT_EQ(due_us(link), 2 * second_us);
    pass_time(link, 2 * second_us - 1);
    ask_for_media(link, true, second_us);
    EXPECT_EQ(box.next(), all_kinds);
    EXPECT_FALSE(link.heard);
    box.say("B");
    take_datagrams(link, 2 * second_us);
    EXPECT_TRUE(link.heard);
    box.say(box_message(0, 7, "{}"));
    take_datagrams(link, 4 * second_us);
    EXPECT_EQ(changes, 1);
    pass_time(link, 9 * second_us - 1);
    EXPECT_EQ(box.next(), all_kinds);
    EXPECT_EQ(due_us(link), 9 * second_us);
    pass_time(link, 9 * second_us);
    EXPECT_FALSE(link.heard);
    EXPECT_EQ(changes, 2);
    close_box_link(link);
    EXPECT_EQ(box.next(), good_bye);
    EXPECT_EQ(box.next(), "nothing came");
}

TEST_F(PanelBoxLink, sends_commands_that_a_box_reads_and_no_others) {
    ASSERT_TRUE(open(box.name()));
    const std::string longest = R"({"cmd":")" + std::string(longest_command - 10, 'x') + "\"}";
    EXPECT_TRUE(send_command(link, longest));
    EXPECT_EQ(box.next(), longest);
    EXPECT_FALSE(send_command(link, longest + " "));
    EXPECT_FALSE(send_command(link, ""));
    EXPECT_FALSE(send_command(link, std::string(1, '\1'))); // a control code
    EXPECT_EQ(box.next(), "nothing came");
    close_box_link(link);
    link = {};
    ASSERT_TRUE(open(""));
    EXPECT_FALSE(send_command(link, "{}")); // nobody is there
}

TEST_F(PanelBoxLink, numbers_tell_a_loss_once_all_kinds_come) {
    PlayedBox stranger;
    ASSERT_TRUE(open(box.name()));
    pass_time(link, 0);
    EXPECT_EQ(box.next(), data_only);
    stranger.panel = box.panel;
    for (const std::string& strange :
         {box_message(0, 1, "x"), std::string("B"), std::string("{}"), std::string()})
        stranger.say(strange);
    for (const std::string& strange :
         {box_message(3, 1, "x"), box_message(0, 1, ""), std::string("C"), std::string(),
          "C" + box_message(0, 1, "x").substr(1)})
        box.say(strange);
    for (const std::uint32_t number : {40U, 90U, 91U}) // between them media for other apps
        box.say(box_message(0, number, std::to_string(number)));
    box.say(box_message(1, 92, "on its way"));
    take_datagrams(link, 0);
    EXPECT_EQ(link.counts.strange, 9U);
    EXPECT_EQ(all, "s40s90s91");
    EXPECT_EQ(link.order.lost, 0U);

    all.clear();
    ask_for_media(link, true, 0);
    const std::vector<std::string> sent{box_message(0, 150, "A"), box_message(1, 160, "B"),
                                        box_message(1, 162, "C"), box_message(2, 161, "D"),
                                        box_message(0, 164, "E"), box_message(1, 165, "F"),
                                        box_message(1, 166, "G")};
    for (const std::string& datagram : sent)
        box.say(datagram);
    take_datagrams(link, 0);
    EXPECT_EQ(all, "sA!vBaDvC");
    EXPECT_EQ(due_us(link), order_wait_us);
    pass_time(link, order_wait_us);
    EXPECT_EQ(all, "sA!vBaDvCsE!vFvG"); // the loss is told with the picture
    EXPECT_EQ(link.order.lost, 1U);
    EXPECT_EQ(link.counts.video_datagrams, 4U);
    EXPECT_EQ(link.counts.video_bytes, 4U);
    EXPECT_EQ(link.counts.sound_datagrams, 1U);
}

TEST_F(PanelBoxLink, the_only_box_that_answers_is_taken) {
    look_around();
    answer(box, 1, 100);
    box.say(box_message(0, 1, "x")); // before the good-bye
    take_datagrams(link, 100);
    EXPECT_EQ(all, "");
    EXPECT_EQ(due_us(link), 100 + second_us);
    pass_time(link, 99 + second_us);
    EXPECT_EQ(box.next(), "nothing came");
    pass_time(link, 100 + second_us);
    EXPECT_EQ(box.next(), data_only);
    box.say(box_message(0, 2, "y"));
    take_datagrams(link, 2 * second_us);
    EXPECT_EQ(all, "sy");
    for (const std::int64_t seconds : {4, 6}) { // no looking around meanwhile
        pass_time(link, seconds * second_us);
        EXPECT_EQ(box.next(), data_only);
    }
    pass_time(link, 7 * second_us); // not heard: both, and ours last
    for (const std::string& expected : {good_bye, data_only, data_only})
        EXPECT_EQ(box.next(), expected);
    box.say("B"); // of the box that is registered with, this is no reason for a good-bye
    take_datagrams(link, 7 * second_us);
    EXPECT_TRUE(link.heard);
    EXPECT_EQ(box.next(), "nothing came");
}

TEST_F(PanelBoxLink, one_of_several_boxes_is_left_to_the_person) {
    PlayedBox other(fieldrelaybox::loopback_address + 1, ntohs(box.address().sin_port));
    look_around();
    other.panel = box.panel;
    answer(box, 1, 0);
    answer(other, 2, second_us / 2);
    pass_time(link, 2 * second_us);
    EXPECT_EQ(link.box.sin_port, 0);
    choose_box(link, other.address(), 2 * second_us);
    EXPECT_EQ(other.next(), data_only);
    ask_for_media(link, true, 2 * second_us);
    EXPECT_EQ(other.next(), all_kinds);
    choose_box(link, box.address(), 2 * second_us);
    EXPECT_EQ(other.next(), good_bye);
    EXPECT_EQ(box.next(), all_kinds);
    pass_time(link, found_time_us + 1);
    EXPECT_EQ(link.found.size(), 1U); // the first is older
    const auto answer_of = [&](std::uint8_t last, int port, std::int64_t at_us) {
        const auto from =
            fieldrelaybox::ipv4_address(0x7F000000U + last, static_cast<std::uint16_t>(port));
        take_datagram(link, std::array<std::uint8_t, 1>{'B'}, from, at_us);
        return !link.found.empty() &&
               fieldrelaybox::is_same_address(link.found.back().address, from);
    };
    for (int i = 0; i < 50; ++i) // strangers
        EXPECT_FALSE(answer_of(9, 1 + i, found_time_us));
    for (std::uint8_t last = 10; last < 60; ++last) // the newest are listed
        EXPECT_TRUE(answer_of(last, link.port, found_time_us + last));
    EXPECT_EQ(link.found.size(), most_found);
}

TEST_F(PanelBoxLink, a_box_on_this_computer_is_one_box) {
    const Surroundings here{.asked = {}, .own = {htonl(0xC0000205)}};
    const auto named = [&](std::uint32_t address) {
        return ntohl(known_address(here, fieldrelaybox::ipv4_address(address, 1)).sin_addr.s_addr);
    };
    EXPECT_EQ(named(0xC0000205), fieldrelaybox::loopback_address);
    EXPECT_EQ(named(0xC0000206), 0xC0000206);
}

TEST_F(PanelBoxLink, a_name_is_looked_up_beside_the_loop) {
    ASSERT_TRUE(open("localhost:" + std::to_string(ntohs(box.address().sin_port))));
    std::int64_t now_us = 0;
    while (link.box.sin_port == 0 && now_us < 1000 * second_us) {
        now_us = due_us(link);
        pass_time(link, now_us);
        usleep(1000);
    }
    EXPECT_EQ(box.next(), data_only);
    EXPECT_EQ(changes, 1);
}

TEST_F(PanelBoxLink, an_unknown_name_is_logged_once) {
    NameLookup lookup;
    lookup.host = std::string(64, 'x'); // no name server is asked for such a label
    testing::internal::CaptureStderr();
    for (int lookups = 0; lookups < 2; usleep(1000)) {
        const bool waits = lookup.answer != nullptr;
        EXPECT_FALSE(follow_lookup(lookup, true, due_us(lookup, true)));
        lookups += waits && lookup.answer == nullptr ? 1 : 0;
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "no address is known for \"" + lookup.host + "\" yet, asking on\n");
}

TEST_F(PanelBoxLink, only_names_and_addresses_of_one_computer_are_taken) {
    const std::string longest(253, 'x');
    for (const char* text : {"box.local", "192.0.2.1", "box-1:1", "a_b:65535", longest.c_str()})
        EXPECT_TRUE(parse_box_name(text)) << text;
    EXPECT_EQ(parse_box_name("192.0.2.1")->port, box_port);
    for (const char* text : {"", ":4242", "box:", "box:0", "box:65536", "box:-1", "box:1 ", "bo x",
                             "0.0.0.0", "255.255.255.255", "224.0.0.1:4242", "[::1]:4242", "-box"})
        EXPECT_FALSE(parse_box_name(text)) << text;
    EXPECT_FALSE(parse_box_name(longest + "x"));
}

} // namespace
