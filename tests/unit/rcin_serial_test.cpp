// Frames as receivers send them, whole, in pieces, between garbage and through a pseudo-terminal.
#include "rcin/crsf.h"
#include "rcin/ibus.h"
#include "rcin/parity_marks.h"
#include "rcin/sbus.h"
#include "rcin/serial_input.h"

#include <asm/ioctls.h>
#include <asm/termbits.h>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <random>
#include <sstream>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>

namespace rcin {
namespace {

using Text = std::string;

// "E0 03" as bytes.
Text bytes_of(const Text& hex) {
    Text bytes;
    std::istringstream in(hex);
    for (unsigned byte = 0; in >> std::hex >> byte;)
        bytes += static_cast<char>(byte);
    return bytes;
}

const Text middle = "E0 03 1F F8 C0 07 3E F0 81 0F 7C E0 03 1F F8 C0 07 3E F0 81 0F 7C ";
// 988 2011 1500 880 2159 1000 1001 1002 1003 1250 1750 1999 2000 1499 1501 1234
const Text mixed = "AD 90 38 F8 00 F0 7F 60 08 83 18 C5 80 12 5C FF 0D F0 EF 89 EF 46 ";
const Text mixed_us = "988 2011 1500 880 2159 1000 1001 1002 1003 1250 1750 1999 2000 1499 1501 "
                      "1234 ";
const Text ibus_middle = "20 40 DC 05 DC 05 DC 05 DC 05 DC 05 DC 05 DC 05 DC 05 DC 05 DC 05 DC 05 "
                         "DC 05 DC 05 DC 05 51 F3";
const Text ibus_mixed = "20 40 E8 03 D0 F7 DC 05 DC 05 DC 05 DC 05 DC 05 DC 05 DC 05 DC 05 DC 05 "
                        "DC 05 DC 05 E3 05 5A F2";
const Text link_statistics = "C8 0C 14 46 4B 64 08 00 04 03 50 64 07 9C";

Text told(const Frame& frame) {
    std::ostringstream out;
    for (const std::uint16_t value : frame.channels_us)
        out << value << ' ';
    for (const std::uint16_t value : frame.digital_us)
        out << value << ' ';
    out << (frame.failsafe ? "failsafe" : "");
    return out.str();
}

Text decoded(const SerialProtocol& protocol, const Text& bytes) {
    const auto frame =
        protocol.decode({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
    return frame ? told(*frame) : "nothing";
}

TEST(RcinSerialTest, FramesAreWhatTheProtocolsSay) {
    struct Row {
        const SerialProtocol& protocol;
        Text hex, expected;
    };
    Text all_middle;
    for (int i = 0; i < 14; ++i)
        all_middle += "1500 ";
    const Text sixteen = all_middle + "1500 1500 ";
    const Row rows[] = {
        {sbus_protocol, "0F " + middle + "00 00", sixteen + "1000 1000 "},
        {sbus_protocol, "0F " + mixed + "01 04", mixed_us + "2000 1000 "},
        {sbus_protocol, "0F " + middle + "02 34", sixteen + "1000 2000 "},
        {sbus_protocol, "0F " + middle + "04 00", "nothing"}, // lost
        {sbus_protocol, "0F " + middle + "0C 00", sixteen + "1000 1000 failsafe"},
        {sbus_protocol, "0F " + middle + "10 00", "nothing"},
        {sbus_protocol, "0F " + middle + "00 08", "nothing"},
        {sbus_protocol, "0E " + middle + "00 00", "nothing"},
        {crsf_protocol, "C8 18 16 " + middle + "AD", sixteen + "0 0 "},
        {crsf_protocol, "00 18 16 " + mixed + "A4", mixed_us + "0 0 "},
        {crsf_protocol, "EC 18 16 " + mixed + "A4", mixed_us + "0 0 "},
        {crsf_protocol, "C9 18 16 " + mixed + "A4", "nothing"},
        {crsf_protocol, link_statistics, "nothing"},
        {ibus_protocol, ibus_middle, all_middle + "0 0 0 0 "},
        {ibus_protocol, ibus_mixed,
         "1000 2000 1500 1500 1500 1500 1500 1500 1500 1500 1500 1500 1500 1507 0 0 0 0 "},
    };
    for (const Row& row : rows)
        EXPECT_EQ(decoded(row.protocol, bytes_of(row.hex)), row.expected) << row.hex;
}

TEST(RcinSerialTest, ChecksumsFindEveryWrongBitAndNoLengthIsTakenOnTrust) {
    for (const auto& [protocol, hex] : {std::pair{crsf_protocol, "C8 18 16 " + mixed + "A4"},
                                        std::pair{ibus_protocol, ibus_mixed}}) {
        const Text frame = bytes_of(hex);
        for (std::size_t bit = 8; bit < 8 * frame.size(); ++bit) {
            Text wrong = frame;
            wrong[bit / 8] = static_cast<char>(wrong[bit / 8] ^ (1 << bit % 8));
            EXPECT_EQ(decoded(protocol, wrong), "nothing") << bit;
        }
        for (std::size_t size = 0; size < frame.size(); ++size)
            EXPECT_EQ(decoded(protocol, frame.substr(0, size)), "nothing");
        EXPECT_EQ(decoded(protocol, frame + frame), "nothing");
    }
}

struct Line {
    explicit Line(const SerialProtocol& protocol) : collector{.protocol = protocol, .bytes = {}} {}

    Line& hear(const Text& bytes) {
        for (const char byte : bytes)
            take_byte(collector, static_cast<std::uint8_t>(byte), now_us, take);
        return *this;
    }

    Line& pause(std::int64_t microseconds = 6000) {
        now_us += microseconds;
        take_nothing(collector, now_us, take);
        return *this;
    }

    // The first channels of all frames since it was last asked.
    Text told() { return std::exchange(heard, ""); }

    FrameCollector collector;
    std::int64_t now_us = 1'000'000;
    Text heard;
    TakeFrame take = [this](const Frame& frame) {
        heard += std::to_string(frame.channels_us[0]) + " ";
    };
};

struct Speech {
    const SerialProtocol& protocol;
    Text first, second; // frames
    Text headers;       // to confuse
    Text first_told, second_told;
};

const std::array speeches{
    Speech{sbus_protocol, bytes_of("0F " + middle + "00 00"), bytes_of("0F " + mixed + "00 00"),
           bytes_of("0F 00 04"), "1500 ", "988 "},
    Speech{crsf_protocol, bytes_of("C8 18 16 " + middle + "AD"),
           bytes_of("C8 18 16 " + mixed + "A4"), bytes_of("C8 18 16 3E 00 02"), "1500 ", "988 "},
    Speech{ibus_protocol, bytes_of(ibus_middle), bytes_of(ibus_mixed), bytes_of("20 40 20"),
           "1500 ", "1000 "},
};

Text garbage_for(const Speech& speech, std::minstd_rand& random) {
    Text garbage;
    for (auto count = random() % 64; count > 0; --count)
        garbage += random() % 4 == 0 ? static_cast<char>(random())
                                     : speech.headers[random() % speech.headers.size()];
    // Beginnings of what is to come, the worst garbage.
    return random() % 4 == 0 ? garbage + speech.first.substr(0, random() % 30) : garbage;
}

// Where no pause is seen, two frames have to be alike.
TEST(RcinSerialTest, TwoFramesAfterAnyGarbageAreInStep) {
    std::minstd_rand random(1);
    for (const Speech& speech : speeches) {
        for (int round = 0; round < 90; ++round) {
            Line line(speech.protocol);
            const auto rest = [&]() -> Line& { return round % 3 == 0 ? line : line.pause(); };
            const bool same = round % 3 == 0;
            if (round % 2 != 0)
                line.hear(speech.first + speech.first).pause();
            for (auto bursts = random() % 4; bursts > 0; --bursts) {
                line.hear(garbage_for(speech, random));
                rest();
            }
            line.hear(garbage_for(speech, random) + speech.first);
            rest().told();
            line.hear(same ? speech.first : speech.second);
            ASSERT_TRUE(rest().told().ends_with(same ? speech.first_told : speech.second_told))
                << round;
            ASSERT_EQ(line.hear(speech.second).told(), speech.second_told) << round;
        }
    }
}

TEST(RcinSerialTest, GarbageFullOfHeadersAndEndsIsNoSbusFrameWithoutAPause) {
    std::minstd_rand random(1);
    Line line(sbus_protocol);
    Text garbage;
    for (int i = 0; i < 20'000; ++i)
        garbage += random() % 2 == 0 ? static_cast<char>(random() / 16)
                                     : static_cast<char>(random() % 2 * 0x0F);
    EXPECT_EQ(line.hear(garbage).told(), "");
    const Text first = speeches[0].first, second = speeches[0].second;
    EXPECT_EQ(line.hear(first + second + first + second + first + second).told(), "");
    EXPECT_EQ(line.hear(first).told(), "1500 988 1500 988 1500 988 1500 ") << "seven unlike ones";
    spoil(line.collector);
    EXPECT_EQ(line.hear(second.substr(9) + second).told(), "");
    EXPECT_EQ(line.hear(second).told(), "988 988 ");
}

TEST(RcinSerialTest, OutOfStepOneFrameWithoutChecksumIsNotBelieved) {
    const Text first = speeches[0].first, second = speeches[0].second;
    Line line(sbus_protocol);
    line.hear(first).pause().hear("x").pause().hear(second).pause();
    EXPECT_EQ(line.hear(first + "x").pause().told(), "") << "two, but none ends here";
    EXPECT_EQ(line.hear(first + second).pause(2999).told(), "");
    EXPECT_EQ(line.pause(1).told(), "1500 988 ");
    EXPECT_EQ(line.hear(second).told(), "988 ");
    EXPECT_EQ(line.hear(bytes_of("0F " + middle + "04 00")).told(), "") << "lost, but in step";
    EXPECT_EQ(line.hear(second + first).told(), "988 1500 ");
    EXPECT_EQ(line.hear(second.substr(0, 9)).pause().hear(first).told(), "");
    EXPECT_EQ(line.pause().hear(second).pause().told(), "1500 988 ");
    line.hear(second.substr(0, 9));
    spoil(line.collector);
    EXPECT_EQ(line.hear(second.substr(10)).pause().hear(second).told(), "");
    EXPECT_EQ(line.pause().hear(second).pause().told(), "988 988 ");
}

TEST(RcinSerialTest, AnIncompleteFrameIsDroppedAfterASilenceOnly) {
    for (const Speech& speech : speeches) {
        Line line(speech.protocol);
        line.hear(speech.first + speech.first).pause().told();
        line.hear(speech.second.substr(0, 20)).pause(2999);
        EXPECT_EQ(silence_due(line.collector), line.now_us + 1);
        line.now_us += 500'000; // read late: it may have been there in time
        EXPECT_EQ(line.hear(speech.second.substr(20)).told(), speech.second_told);
        EXPECT_EQ(silence_due(line.collector), never_us);
        line.hear(speech.second.substr(0, 20)).pause(3000);
        EXPECT_EQ(line.hear(speech.second.substr(20)).pause().told(), "");
        EXPECT_EQ(silence_due(line.collector), never_us);
    }
}

TEST(RcinSerialTest, ParityMarksAreTakenOut) {
    MarkPlace place = MarkPlace::outside;
    Text heard;
    for (const unsigned char byte : bytes_of("01 FF FF FF 00 0F 02 FF 00 FF FF FF 00")) {
        const auto said = unmark(place, byte);
        if (const auto* good = std::get_if<std::uint8_t>(&said))
            heard += std::to_string(*good) + " ";
        else if (std::holds_alternative<DamagedByte>(said))
            heard += "damaged ";
    }
    EXPECT_EQ(heard, "1 255 damaged 2 damaged 255 0 ");
}

int open_pseudo_terminal() {
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    EXPECT_TRUE(master >= 0 && grantpt(master) == 0 && unlockpt(master) == 0);
    return master;
}

// Two stop bits and the rate outlast a pseudo-terminal, parity does not.
// Emulators of user programs do not know how a line's rate is set.
bool can_set_lines() {
    const int master = open_pseudo_terminal();
    termios2 settings{};
    const bool can = ioctl(master, TCGETS2, &settings) == 0 || errno != ENOSYS;
    close(master);
    return can;
}

TEST(RcinSerialTest, EachProtocolSetsItsLineAndTellsWhatIsLacking) {
    if (!can_set_lines())
        GTEST_SKIP();
    struct Row {
        Opened (&opener)(const Text&);
        unsigned baud, stop_bits;
        bool lacks_parity;
    };
    for (const Row& row : {Row{open_sbus, 100'000, CSTOPB, true}, Row{open_crsf, 420'000, 0, false},
                           Row{open_ibus, 115'200, 0, false}}) {
        const int master = open_pseudo_terminal();
        const Opened opened = row.opener(ptsname(master));
        EXPECT_TRUE(opened.input) << opened.fault;
        EXPECT_EQ(opened.hint.find("no parity") != Text::npos, row.lacks_parity) << opened.hint;
        termios2 settings{};
        EXPECT_EQ(ioctl(master, TCGETS2, &settings), 0);
        EXPECT_EQ(settings.c_ispeed, row.baud);
        EXPECT_EQ(settings.c_cflag & (CSTOPB | CSIZE), row.stop_bits | CS8) << row.baud;
        close(master);
    }
}

TEST(RcinSerialTest, APseudoTerminalIsReadUntilItGoes) {
    if (!can_set_lines())
        GTEST_SKIP();
    const int master = open_pseudo_terminal();
    const Text device = ptsname(master);
    Opened opened = open_ibus(device);
    ASSERT_TRUE(opened.input) << opened.fault;
    EXPECT_EQ(opened.hint, "");
    EXPECT_NE(open_sbus(device).fault.find("in use"), Text::npos);
    Text heard;
    const TakeFrame take = [&](const Frame& frame) {
        heard += std::to_string(frame.channels_us[2]) + " ";
    };
    const auto read_once = [&] {
        pollfd waiting{opened.input->descriptors.at(0), POLLIN, 0};
        poll(&waiting, 1, 20'000);
        return opened.input->read(0, take);
    };
    // Bytes a terminal would meddle with: interrupt, end, XOFF, CR, NL, 255.
    Text frame = bytes_of("20 40 03 0D 04 0A FF 0F 13 11 1A 1C 7F 00 FF FF DC 05 DC 05 DC 05 DC 05 "
                          "DC 05 DC 05 DC 05 51 F3");
    unsigned sum = 0xFFFF;
    for (std::size_t i = 0; i < 30; ++i)
        sum -= static_cast<unsigned char>(frame[i]);
    frame[30] = static_cast<char>(sum & 0xFF);
    frame[31] = static_cast<char>(sum >> 8);
    ASSERT_EQ(write(master, frame.data(), frame.size()), 32);
    while (heard.empty())
        ASSERT_FALSE(read_once().gone);
    EXPECT_EQ(heard, "4095 ");
    EXPECT_FALSE(opened.input->read(0, take).gone);
    close(master);
    EXPECT_TRUE(read_once().gone);
    opened.input.reset();
    EXPECT_NE(open_crsf(device).fault.find(device), Text::npos);
    EXPECT_NE(open_crsf("/dev/null").fault.find("no serial line"), Text::npos);
}

} // namespace
} // namespace rcin
