// Texts, limits and the video watchdog.
#include "config/config_record.h"
#include "core/lanes.h"
#include "core/log.h"
#include "core/shared_access.h"
#include "core/status_block.h"
#include "core/text.h"
#include "media/burst_room.h"
#include "media/media_sources.h"
#include "unit/shell_recorder.h"
#include "unit/test_clock.h"
#include "unit/test_data.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using namespace fieldrelaybox;

namespace {

TEST(Text, numbers_are_cut_to_32_bits_and_names_for_the_shell_are_strict) {
    EXPECT_EQ(parse_decimal(" 12x"), 12);
    EXPECT_EQ(parse_decimal("0x10"), 0);
    EXPECT_EQ(parse_decimal(""), 0);
    EXPECT_EQ(parse_decimal("99999999999"), 2147483647);
    EXPECT_EQ(parse_decimal("-99999999999999999999"), -2147483647 - 1);
    EXPECT_TRUE(is_shell_safe_name("wlan0.1_a-b"));
    for (const char* name : {"", "-a", "a b", "a;b", "$(a)", "a\n", "\xC3\xA4"})
        EXPECT_FALSE(is_shell_safe_name(name)) << name;
}

TEST(Text, copies_are_cut_and_leave_no_old_characters) {
    std::array<char, 6> field{'o', 'l', 'd', 'e', 'r', 'x'};
    copy_text(field.data(), field.size(), "ab");
    EXPECT_EQ(std::string(field.data(), 6), std::string("ab\0\0\0\0", 6));
    copy_text(field.data(), field.size(), "longer");
    EXPECT_STREQ(field.data(), "longe");
}

TEST(Log, limit_lets_one_line_through_per_second_and_tells_of_the_others) {
    testing::internal::CaptureStderr();
    LogLimit limit;
    for (const int after : {0, 1, 999, 1000, 1001, 2000, 3000})
        log_limited_warning(limit, after, "at %d", after);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "at 0\nat 1000 (2 more left out)\nat 2000 (1 more left out)\nat 3000\n");
}

TEST(Log, lines_are_single_readable_and_bounded_with_priorities_in_the_journal) {
    testing::internal::CaptureStderr();
    log_warning("no journal");
    struct stat details {};
    ASSERT_EQ(fstat(STDERR_FILENO, &details), 0);
    const std::string journal =
        std::to_string(details.st_dev) + ":" + std::to_string(details.st_ino);
    setenv("JOURNAL_STREAM", journal.c_str(), 1);
    log_line("line %d", 1);
    log_warning("in %s", "one\n<0>line\x7F\x1B[2J"); // as text from the network can be
    log_error("%s",
              "K\xC3\xBC"
              "che \xE2\x82\xAC \xF0\x9F\x8E\xA5, no \xC2\x9B \xFC \xE0\x80\xAF \xED\xA0\x80 \xC3");
    log_line("%s", (std::string(998, 'a') + "\n" + "b").c_str());
    log_line("%s", (std::string(998, 'a') + "\xC3\xBC").c_str());
    log_line("%s", (std::string(999, 'a') + "\xC3\xBC").c_str());
    log_line("%s", std::string(70'000, 'a').c_str());
    unsetenv("JOURNAL_STREAM");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "no journal\n<6>line 1\n<4>in one\\x0a<0>line\\x7f\\x1b[2J\n"
              "<3>Küche € 🎥, no \\xc2\\x9b \\xfc \\xe0\\x80\\xaf \\xed\\xa0\\x80 \\xc3\n<6>" +
                  std::string(998, 'a') + "... (1000 characters)\n<6>" + std::string(998, 'a') +
                  "ü\n<6>" + std::string(999, 'a') + "... (1001 characters)\n<6>" +
                  std::string(1000, 'a') + "... (70000 characters)\n");
}

TEST(BurstRoom, gives_back_what_large_datagrams_took_and_nothing_that_is_in_use) {
    const test_data::Receiver source, sender;
    InputCount counts{};
    BurstRoom room;
    open_room(room, run_limit, 60'000);
    const auto pages_after = [&](std::size_t size, int times) {
        for (const std::vector<std::uint8_t> datagram(size, 'v'); times > 0; --times) {
            const sockaddr_in address = source.address();
            sendto(sender.socket(), datagram.data(), size, 0,
                   reinterpret_cast<const sockaddr*>(&address), sizeof address);
            const Datagrams received = receive_burst({source.socket(), counts, 0}, room);
            EXPECT_TRUE(std::ranges::equal(bytes_of(received.front()), datagram));
        }
        std::vector<unsigned char> pages(room.memory_size / 4096 + 1);
        EXPECT_EQ(mincore(room.memory, room.memory_size, pages.data()), 0);
        return std::count(pages.begin(), pages.end(), 1);
    };
    EXPECT_GT(pages_after(60'000, 1), 2);
    EXPECT_LE(pages_after(1000, 2000), 2);
    EXPECT_EQ(counts.bytes, 2'060'000U);
}

TEST(Video, of_a_camera_that_is_switched_off_is_dropped_one_by_one) {
    const std::array<iovec, 3> burst{};
    store<std::uint8_t>(config_record().camera_disabled, 1);
    test_clock::take_waits();
    EXPECT_EQ(handle_video(burst, 0), 1U);
    EXPECT_EQ(test_clock::take_waits(), std::vector<std::int64_t>{1'000'000});
}

TEST(VideoWatchdog, judges_by_its_own_flag) {
    constexpr std::int64_t now = 3'900'000'000;
    std::array<std::uint8_t, header_room + 3> datagram{};
    const std::array<iovec, 1> video{{{&datagram[header_room], 3}}};
    shell_recorder::on_command = [own = std::this_thread::get_id()](const std::string&) {
        EXPECT_NE(std::this_thread::get_id(), own); // video does not wait for a command
    };
    EXPECT_EQ(handle_video(video, now), 1U);
    EXPECT_EQ(config_record().video_connected, 1);
    config_record().video_connected = 0; // as the camera link does
    video_watchdog(now + 1000);
    EXPECT_STREQ(status_block().video_status, "");
    video_watchdog(now + 1001);
    EXPECT_STREQ(status_block().video_status, "video disconnected");
    EXPECT_EQ(status_block().video_connected, 0);
    EXPECT_TRUE(test_data::await([] { return await_lanes(0); }));
    EXPECT_TRUE(shell_recorder::take_unlimited_commands().empty());
}

} // namespace
