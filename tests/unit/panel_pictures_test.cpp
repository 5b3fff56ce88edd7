// From datagrams to pictures: where one ends, what a loss leaves of it, and where a viewer begins.
#include "panel/pictures.h"

#include <algorithm>
#include <array>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace panel;
using Datagram = std::vector<std::uint8_t>;

constexpr std::int64_t picture_time_us = 33'000;

// Units as a sender cuts them, with one letter each: first slices of a picture (I, P), later
// ones (i, p), sets (S, Q), a delimiter (D), SEI (R: recovery point, U: other), the rest of one
// (-).
const std::map<char, Datagram> unit_of{
    {'I', {0, 0, 0, 1, 0x65, 0x88, 1}},
    {'i', {0, 0, 1, 0x65, 0x48, 2}},
    {'P', {0, 0, 0, 1, 0x41, 0x9A, 3}},
    {'p', {0, 0, 1, 0x41, 0x5A, 4}},
    {'S', {0, 0, 0, 1, 0x67, 0x42, 0xC0, 0x1E}},
    {'Q', {0, 0, 1, 0x68, 0xCE, 0x3C, 0x80}},
    {'D', {0, 0, 0, 1, 0x09, 0xF0}},
    // Of 5 bytes, one of which keeps start codes out and does not count.
    {'U', {0, 0, 1, 0x06, 0x05, 0x05, 0, 0, 3, 0, 6, 1, 0x80}},
    {'R', {0, 0, 1, 0x06, 0x01, 0x03, 0, 0, 3, 3, 0x06, 0x01, 0xC4, 0x80}},
    {'-', Datagram(20, 0xAB)},
};

Datagram units(std::string_view letters) {
    Datagram result;
    for (const char letter : letters)
        for (const std::uint8_t byte : unit_of.at(letter))
            result.push_back(byte);
    return result;
}

constexpr std::size_t picture_header_size = 10;

// What came out: the flags of each picture, its time, and its bytes.
struct Seen {
    std::string flags; // of each: k key, d damaged, g gap, and a point
    std::vector<Datagram> pictures;
    std::vector<std::int64_t> times;
};

TakePicture taker(Seen& seen) {
    return [&seen](const SharedMessage& message, std::uint8_t flags) {
        const auto bytes = bytes_of(*message);
        EXPECT_EQ(bytes[0], static_cast<std::uint8_t>(MessageKind::picture));
        EXPECT_EQ(bytes[1], flags);
        for (int bit = 0; bit < 3; ++bit)
            if ((flags >> bit & 1) != 0)
                seen.flags += "kdg"[bit];
        seen.flags += '.';
        seen.times.push_back(fieldrelaybox::get_u32le(&bytes[2]));
        seen.pictures.emplace_back(bytes.begin() + picture_header_size, bytes.end());
    };
}

std::vector<std::string> words_of(const std::string& text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

// Each word is a datagram; a "/" lets the time of a picture pass, a "!" is a loss before it.
Seen collect(PictureCollector& collector, const std::string& words) {
    Seen seen;
    std::int64_t now_us = 0;
    for (const std::string& word : words_of(words)) {
        const bool gap = word[0] == '!';
        if (word == "/")
            now_us += picture_time_us;
        else
            take_video(collector, units(word.substr(gap ? 1 : 0)), now_us, gap, taker(seen));
    }
    pass_time(collector, now_us + picture_wait_us - 1, taker(seen));
    pass_time(collector, now_us + picture_wait_us, taker(seen));
    EXPECT_EQ(due_us(collector), never_us) << words;
    return seen;
}

struct PictureCase {
    const char* words;
    const char* flags;
    const char* pictures;
};

const std::vector<PictureCase> picture_cases{
    // Where pictures begin and end.
    {"SQI- - / P- / P / DP", "k....", "SQI-- P- P DP"},
    {"S Q U I i / P p- p / D P p", "k...", "SQUIi Pp-p DPp"},
    {"- p / P / P", "g..", "P P"},                    // nobody knows the beginning of the first
    {"SQI / SQIi / UP / SQ", "k.k..", "SQI SQIi UP"}, // sets alone are no picture
    // Where a decoder can begin.
    {"SQRP / RP / SQP / SQUP / SI / QI / SQRI", "k......k.", "SQRP RP SQP SQUP SI QI SQRI"},
    // Losses: behind one the rest of the cut unit is left out.
    {"SQI / P !- p - / P / P", "k.d.g..", "SQI Pp- P P"},
    {"SQI / P / !P / P", "k.d.g..", "SQI P P P"},
    {"SQI / P- / !- p / P", "k.d.g.", "SQI P- P"}, // the beginning of the second was lost
    {"SQI !- / SQI", "kd.kg.", "SQI SQI"},
    {"SQ !I / P", "kd.g.", "SQI P"},
};

TEST(PanelPictures, datagrams_become_whole_pictures_and_losses_are_told) {
    for (const PictureCase& each : picture_cases) {
        PictureCollector collector;
        const Seen seen = collect(collector, each.words);
        EXPECT_EQ(seen.flags, each.flags) << each.words;
        std::vector<Datagram> expected;
        for (const std::string& picture : words_of(each.pictures))
            expected.push_back(units(picture));
        EXPECT_EQ(seen.pictures, expected) << each.words;
        EXPECT_EQ(collector.pictures, expected.size());
        EXPECT_EQ(collector.damaged_pictures,
                  static_cast<std::uint64_t>(std::ranges::count(seen.flags, 'd')));
    }
}

TEST(PanelPictures, the_cut_within_a_picture_does_not_matter) {
    const std::array pictures{units("DSQUI--i-"), units("DP-p"), units("UP---"), units("P")};
    for (std::size_t size = 6; size < 40; ++size) { // the beginning of a slice is in one piece
        PictureCollector collector;
        Seen seen;
        std::int64_t now_us = 0;
        for (const Datagram& picture : pictures) {
            now_us += picture_time_us;
            for (fieldrelaybox::Bytes rest = picture; !rest.empty();
                 rest = rest.subspan(std::min(size, rest.size())))
                take_video(collector, rest.first(std::min(size, rest.size())), now_us, false,
                           taker(seen));
        }
        pass_time(collector, now_us + picture_wait_us, taker(seen));
        EXPECT_EQ(seen.pictures, std::vector(pictures.begin(), pictures.end())) << size;
        EXPECT_EQ(seen.flags, "k....") << size;
        EXPECT_EQ(seen.times[1], 2 * picture_time_us); // of its first datagram
    }
}

TEST(PanelPictures, one_that_never_ends_is_left_out) {
    PictureCollector collector;
    Seen seen;
    take_video(collector, units("P"), 0, false, taker(seen));
    const Datagram piece(60'000, 0xAB);
    for (std::size_t size = 0; size < 2 * largest_picture; size += piece.size())
        take_video(collector, piece, 0, false, taker(seen));
    EXPECT_EQ(collector.damaged_pictures, 1U);
    take_video(collector, units("P"), 0, false, taker(seen));
    pass_time(collector, picture_wait_us, taker(seen));
    EXPECT_EQ(seen.flags, "g.");
    EXPECT_EQ(seen.pictures[0], units("P"));
}

TEST(PanelPictures, a_late_viewer_begins_at_the_last_key_picture) {
    RecentPictures recent;
    const auto keep = [&recent](std::uint8_t flags, std::size_t size = 10) {
        keep_picture(recent, make_picture_message(Datagram(size, 1), flags, 0), flags);
        return recent.pictures.size();
    };
    EXPECT_EQ(keep(0), 0U);
    EXPECT_EQ(keep(picture_is_key | picture_is_damaged), 0U);
    EXPECT_EQ(keep(picture_is_key), 1U);
    EXPECT_EQ(keep(picture_is_damaged), 2U);
    EXPECT_EQ(keep(picture_is_key | picture_is_damaged), 3U);
    EXPECT_EQ(keep(picture_is_key | picture_follows_gap), 1U);
    for (std::size_t kept = 1; kept < 5; ++kept)
        EXPECT_EQ(keep(0, largest_picture - 200), kept + 1);
    EXPECT_EQ(keep(0, largest_picture), 0U); // beyond what is kept
    EXPECT_EQ(keep(0), 0U);
    EXPECT_EQ(keep(picture_is_key), 1U);
    EXPECT_LT(recent.bytes, 100U);
}

} // namespace
