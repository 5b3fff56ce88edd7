// The way to a box, against one that a test plays on loopback.
#include "panel/box_link.h"

#include "core/sockets.h"

#include <array>
#include <gtest/gtest.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace panel;
using fieldrelaybox::Bytes;

constexpr int patience_ms = 20'000;

struct TestBox {
    int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    sockaddr_in app{}; // who sent last

    // address_byte: the last of 127.0.0.x
    explicit TestBox(std::uint8_t address_byte = 1, std::uint16_t port = 0) {
        address = fieldrelaybox::ipv4_address(0x7F000000U + address_byte, port);
        socklen_t size = sizeof address;
        EXPECT_EQ(bind(socket, reinterpret_cast<sockaddr*>(&address), size), 0);
        EXPECT_EQ(getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size), 0);
    }
    ~TestBox() { close(socket); }
    TestBox(const TestBox&) = delete;
    TestBox& operator=(const TestBox&) = delete;
    TestBox(TestBox&&) = delete;
    TestBox& operator=(TestBox&&) = delete;

    [[nodiscard]] std::uint16_t port() const { return ntohs(address.sin_port); }
};

// The next datagram as text behind the header's zeros: "B" and the control code with what follows.
std::string next_at(TestBox& box) {
    std::array<char, 2048> bytes{};
    socklen_t size = sizeof box.app;
    pollfd polled{.fd = box.socket, .events = POLLIN, .revents = 0};
    if (poll(&polled, 1, patience_ms) != 1)
        return "nothing came";
    const ssize_t length = recvfrom(box.socket, bytes.data(), bytes.size(), 0,
                                    reinterpret_cast<sockaddr*>(&box.app), &size);
    std::string text(bytes.data(), static_cast<std::size_t>(length));
    EXPECT_EQ(text.substr(0, 12), "B" + std::string(11, '\0'));
    return text.substr(12);
}

bool has_more(const TestBox& box) {
    char byte = 0;
    return recv(box.socket, &byte, 1, MSG_DONTWAIT | MSG_PEEK) >= 0;
}

void say(const TestBox& box, const std::string& datagram) {
    ASSERT_EQ(sendto(box.socket, datagram.data(), datagram.size(), 0,
                     reinterpret_cast<const sockaddr*>(&box.app), sizeof box.app),
              static_cast<ssize_t>(datagram.size()));
}

std::string message(char kind, std::uint32_t number, const std::string& payload) {
    std::array<std::uint8_t, panel::message_header_size> header{'B',
                                                                static_cast<std::uint8_t>(kind)};
    fieldrelaybox::put_u32le(&header[4], number);
    return std::string(header.begin(), header.end()) + payload;
}

const std::string all_kinds{'\0', '\0'};
const std::string data_only{'\0', '\1'};
const std::string good_bye{'\1'};

// A link and what it handed over: kind, payload, "!" for a gap.
struct Heard {
    BoxLink link;
    std::string all;
    int changes = 0;
};

std::string text_of(Bytes bytes) {
    return {bytes.begin(), bytes.end()};
}

bool open(Heard& heard, const std::string& box) {
    return open_box_link(
        heard.link, box,
        {.status = [&](Bytes payload) { heard.all += "s" + text_of(payload); },
         .video = [&](Bytes payload, std::int64_t,
                      bool gap) { heard.all += (gap ? "!v" : "v") + text_of(payload); },
         .sound = [&](Bytes payload, std::int64_t) { heard.all += "a" + text_of(payload); },
         .changed = [&] { ++heard.changes; }});
}

// Lets the link take what comes until the condition holds.
template<class Condition> void take_until(Heard& heard, std::int64_t now_us, Condition condition) {
    pollfd polled{.fd = heard.link.socket, .events = POLLIN, .revents = 0};
    while (!condition() && poll(&polled, 1, patience_ms) == 1)
        take_datagrams(heard.link, now_us);
    EXPECT_TRUE(condition());
}

// So many in all.
void take(Heard& heard, std::uint64_t count, std::int64_t now_us) {
    const LinkCounts& counts = heard.link.counts;
    take_until(heard, now_us, [&] { return counts.datagrams + counts.strange >= count; });
}

TEST(PanelBoxLink, registers_again_and_again_and_notices_silence) {
    TestBox box;
    Heard heard;
    ASSERT_TRUE(open(heard, "127.0.0.1:" + std::to_string(box.port())));
    BoxLink& link = heard.link;
    EXPECT_EQ(due_us(link), 0); // at once
    pass_time(link, 0);
    EXPECT_EQ(next_at(box), data_only);
    EXPECT_EQ(due_us(link), 2 * second_us);
    pass_time(link, 2 * second_us - 1);
    ask_for_media(link, true, second_us);
    EXPECT_EQ(next_at(box), all_kinds);
    EXPECT_FALSE(link.heard);
    say(box, "B");
    take(heard, 1, 2 * second_us);
    EXPECT_TRUE(link.heard);
    say(box, message(0, 7, "{}"));
    take(heard, 2, 4 * second_us);
    EXPECT_EQ(heard.changes, 1);
    pass_time(link, 9 * second_us - 1);
    EXPECT_EQ(next_at(box), all_kinds);
    EXPECT_EQ(due_us(link), 9 * second_us);
    pass_time(link, 9 * second_us);
    EXPECT_FALSE(link.heard);
    EXPECT_EQ(heard.changes, 2);
    close_box_link(link);
    EXPECT_EQ(next_at(box), good_bye);
    EXPECT_FALSE(has_more(box));
}

TEST(PanelBoxLink, sends_commands_that_a_box_reads_and_no_others) {
    TestBox box;
    Heard heard;
    ASSERT_TRUE(open(heard, "127.0.0.1:" + std::to_string(box.port())));
    const std::string longest = R"({"cmd":")" + std::string(longest_command - 10, 'x') + "\"}";
    EXPECT_TRUE(send_command(heard.link, longest));
    EXPECT_EQ(next_at(box), longest);
    EXPECT_FALSE(send_command(heard.link, longest + " "));
    EXPECT_FALSE(send_command(heard.link, ""));
    EXPECT_FALSE(send_command(heard.link, std::string(1, '\1'))); // a control code
    EXPECT_FALSE(has_more(box));
    close_box_link(heard.link);
    ASSERT_TRUE(open(heard = {}, ""));
    EXPECT_FALSE(send_command(heard.link, "{}")); // nobody is there
    close_box_link(heard.link);
}

TEST(PanelBoxLink, numbers_tell_a_loss_once_all_kinds_come) {
    TestBox box;
    TestBox stranger;
    Heard heard;
    ASSERT_TRUE(open(heard, "127.0.0.1:" + std::to_string(box.port())));
    pass_time(heard.link, 0);
    EXPECT_EQ(next_at(box), data_only);
    stranger.app = box.app;
    for (const std::string& strange :
         {message(0, 1, "x"), std::string("B"), std::string("{}"), std::string()})
        say(stranger, strange);
    for (const std::string& strange : {message(3, 1, "x"), message(0, 1, ""), std::string("C"),
                                       std::string(), "C" + message(0, 1, "x").substr(1)})
        say(box, strange);
    for (const std::uint32_t number : {40U, 90U, 91U}) // between them media for other apps
        say(box, message(0, number, std::to_string(number)));
    say(box, message(1, 92, "on its way"));
    take(heard, 13, 0);
    EXPECT_EQ(heard.link.counts.strange, 9U);
    EXPECT_EQ(heard.all, "s40s90s91");
    EXPECT_EQ(heard.link.order.lost, 0U);

    heard.all.clear();
    ask_for_media(heard.link, true, 0);
    const std::vector<std::string> sent{
        message(0, 150, "A"), message(1, 160, "B"), message(1, 162, "C"), message(2, 161, "D"),
        message(0, 164, "E"), message(1, 165, "F"), message(1, 166, "G")};
    for (const std::string& datagram : sent)
        say(box, datagram);
    take(heard, 13 + sent.size(), 0);
    EXPECT_EQ(heard.all, "sA!vBaDvC");
    EXPECT_EQ(due_us(heard.link), order_wait_us);
    pass_time(heard.link, order_wait_us);
    EXPECT_EQ(heard.all, "sA!vBaDvCsE!vFvG"); // the loss is told with the picture
    EXPECT_EQ(heard.link.order.lost, 1U);
    const LinkCounts& counts = heard.link.counts;
    EXPECT_EQ(counts.video_datagrams, 4U);
    EXPECT_EQ(counts.video_bytes, 4U);
    EXPECT_EQ(counts.sound_datagrams, 1U);
    close_box_link(heard.link);
}

// Opened without a box's name; looks around at the time 0.
void look_around(Heard& heard, TestBox& box) {
    ASSERT_TRUE(open(heard, ""));
    heard.link.port = box.port();
    pass_time(heard.link, 0);
    EXPECT_EQ(next_at(box), good_bye); // else one that knows us would not answer
    EXPECT_EQ(next_at(box), data_only);
    EXPECT_EQ(due_us(heard.link), 3 * second_us);
}

void answer(TestBox& box, Heard& heard, std::size_t boxes, std::int64_t now_us) {
    say(box, "B");
    take_until(heard, now_us, [&] { return heard.link.found.size() == boxes; });
    EXPECT_EQ(next_at(box), good_bye); // it has registered us
}

TEST(PanelBoxLink, the_only_box_that_answers_is_taken) {
    TestBox box;
    Heard heard;
    BoxLink& link = heard.link;
    look_around(heard, box);
    answer(box, heard, 1, 100);
    say(box, message(0, 1, "x")); // before the good-bye
    take(heard, 1, 100);
    EXPECT_EQ(heard.all, "");
    EXPECT_EQ(due_us(link), 100 + second_us);
    pass_time(link, 99 + second_us);
    EXPECT_FALSE(has_more(box));
    pass_time(link, 100 + second_us);
    EXPECT_EQ(next_at(box), data_only);
    say(box, message(0, 2, "y"));
    take(heard, 2, 2 * second_us);
    EXPECT_EQ(heard.all, "sy");
    for (const std::int64_t seconds : {4, 6}) { // no looking around meanwhile
        pass_time(link, seconds * second_us);
        EXPECT_EQ(next_at(box), data_only);
    }
    pass_time(link, 7 * second_us); // not heard: both, and ours last
    for (const std::string& expected : {good_bye, data_only, data_only})
        EXPECT_EQ(next_at(box), expected);
    say(box, "B"); // of the box that is registered with, this is no reason for a good-bye
    take(heard, 3, 7 * second_us);
    EXPECT_TRUE(link.heard);
    EXPECT_FALSE(has_more(box));
    close_box_link(link);
}

TEST(PanelBoxLink, one_of_several_boxes_is_left_to_the_person) {
    TestBox box;
    TestBox other(2, box.port());
    Heard heard;
    BoxLink& link = heard.link;
    look_around(heard, box);
    other.app = box.app;
    answer(box, heard, 1, 0);
    answer(other, heard, 2, second_us / 2);
    pass_time(link, 2 * second_us);
    EXPECT_EQ(link.box.sin_port, 0);
    choose_box(link, other.address, 2 * second_us);
    EXPECT_EQ(next_at(other), data_only);
    ask_for_media(link, true, 2 * second_us);
    EXPECT_EQ(next_at(other), all_kinds);
    choose_box(link, box.address, 2 * second_us);
    EXPECT_EQ(next_at(other), good_bye);
    EXPECT_EQ(next_at(box), all_kinds);
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
        EXPECT_TRUE(answer_of(last, box.port(), found_time_us + last));
    EXPECT_EQ(link.found.size(), most_found);
    close_box_link(link);
}

TEST(PanelBoxLink, a_box_on_this_computer_is_one_box) {
    const Surroundings here{.asked = {}, .own = {htonl(0xC0000205)}};
    const auto named = [&](std::uint32_t address) {
        return ntohl(known_address(here, fieldrelaybox::ipv4_address(address, 1)).sin_addr.s_addr);
    };
    EXPECT_EQ(named(0xC0000205), fieldrelaybox::loopback_address);
    EXPECT_EQ(named(0xC0000206), 0xC0000206);
}

TEST(PanelBoxLink, a_name_is_looked_up_beside_the_loop) {
    TestBox box;
    Heard heard;
    ASSERT_TRUE(open(heard, "localhost:" + std::to_string(box.port())));
    std::int64_t now_us = 0;
    while (heard.link.box.sin_port == 0 && now_us < 1000 * second_us) {
        now_us = due_us(heard.link);
        pass_time(heard.link, now_us);
        usleep(1000);
    }
    EXPECT_EQ(next_at(box), data_only);
    EXPECT_EQ(heard.changes, 1);
    close_box_link(heard.link);
}

TEST(PanelBoxLink, an_unknown_name_is_logged_once) {
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

TEST(PanelBoxLink, only_names_and_addresses_of_one_computer_are_taken) {
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
