// What a Prometheus server reads: whether it can, and whether the numbers are right.
#include "panel/daemon_metrics.h"
#include "panel/metrics.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace panel;

namespace {

using Samples = std::map<std::string, std::string>; // value by name and labels

// Strict: a line of any other form is a failure, and so is what a server would refuse.
Samples parse(const std::string& text) {
    static const std::regex comment(R"(# (HELP|TYPE) (fieldrelaybox_[a-z_]+) (.+))");
    static const std::regex sample(
        R"re((fieldrelaybox_[a-z_]+)(\{([a-z]+="([^"\\]|\\["\\n])*",?)+\})? (-?[0-9.]+(e\+[0-9]+)?))re");
    Samples samples;
    std::set<std::string> begun;
    std::string name, type;
    std::smatch found;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (std::regex_match(line, found, comment)) {
            if (found[1] == "HELP") {
                EXPECT_TRUE(begun.insert(found[2]).second) << line;
                name = found[2];
            } else {
                EXPECT_EQ(found[2], name);
                type = found[3];
            }
        } else if (std::regex_match(line, found, sample)) {
            EXPECT_EQ(found[1], name) << line;
            EXPECT_EQ(type, name.ends_with("_total") ? "counter" : "gauge") << line;
            EXPECT_TRUE(samples.emplace(found[1].str() + found[2].str(), found[5]).second) << line;
        } else {
            ADD_FAILURE() << line;
        }
    }
    EXPECT_TRUE(text.empty() || text.back() == '\n');
    return samples;
}

// Values by name and labels, without what all begin with.
void expect_samples(const Samples& told, const Samples& expected) {
    for (const auto& [name, value] : expected) {
        ASSERT_TRUE(told.contains("fieldrelaybox_" + name)) << name;
        EXPECT_EQ(told.at("fieldrelaybox_" + name), value) << name;
    }
}

struct PanelMetrics : testing::Test {
    Hub hub;
    std::int64_t now = 50 * second_us;

    void report(std::vector<std::uint8_t> record, std::int64_t age_us = 0) {
        const SharedMessage message = make_status_message(record);
        hub.records[topic_of(message).value()] = {message, now - age_us};
    }
    Samples samples() const { return parse(metrics_text(hub, 7, now)); }
};

// The examples of docs/app-protocol.md.
const std::vector<std::uint8_t> battery{0x01, 0x57, 0x00, 0x51, 0x0f, 0x2e, 0xfb};
const std::vector<std::uint8_t> camera{0x02, 0x00, 0x45, 0x02, 0x00, 0x00, 0x80, 0xee,
                                       0x00, 0x00, 0xff, 0x7c, 0x00, 0x00, 0xe1, 0x10,
                                       0x00, 0x00, 0xe6, 0x1d, 0x00, 0x00, 0x2a, 0x01};

TEST_F(PanelMetrics, records_become_numbers_and_old_ones_vanish) {
    report(battery);
    report(camera, 10 * second_us);
    report({5, 0, 2, 0, 0, 0, 0});
    report({5, 1, 3, 0, 0, 0, 0});
    report({6, 0x0B, 2, 0x12, 1, 6, 0});
    report({11, 0, 20, 2, 0, 0, 0});
    hub.link.counts = {.datagrams = 9'000'000'000'000ULL, .video_datagrams = 5};
    hub.link.heard = true;
    hub.browsers[1].watches = true;
    hub.browsers[2].outbox.pictures_left_out = 4;
    hub.pictures_left_out = 3;
    expect_samples(samples(), {{"camera_battery_percent", "87"},
                               {"camera_battery_volts", "3.921"},
                               {"camera_battery_amperes", "-1.234"},
                               {"camera_recording", "1"},
                               {"camera_recording_seconds", "298"},
                               {"camera_card_present", "1"},
                               {"camera_card_size_bytes", "64021856256"},
                               {"camera_card_free_bytes", "33553383424"},
                               {"camera_recording_left_seconds", "7654"},
                               {"camera_hot", "0"},
                               {"link_connected{link=\"data\"}", "1"},
                               {"link_connected{link=\"video\"}", "0"},
                               {"apps", "2"},
                               {"output_enabled{output=\"udp\"}", "0"},
                               {"output_enabled{output=\"rtmp\"}", "1"},
                               {"output_enabled{output=\"rtsp\"}", "1"},
                               {"access_point_running", "1"},
                               {"internet_reachable", "1"},
                               {"rc_receiver_state", "6"},
                               {"box_info{version=\"0.20.2\"}", "1"},
                               {"panel_datagrams_total", "9000000000000"},
                               {"panel_video_datagrams_total", "5"},
                               {"panel_box_heard", "1"},
                               {"panel_browsers", "2"},
                               {"panel_viewers", "1"},
                               {"panel_connections", "7"},
                               {"panel_pictures_left_out_total", "7"}});
    ++now;
    EXPECT_FALSE(samples().contains("fieldrelaybox_camera_recording"));
    EXPECT_TRUE(samples().contains("fieldrelaybox_apps"));
    report({1, 2, 3}); // as long as no battery record is
    EXPECT_FALSE(samples().contains("fieldrelaybox_camera_battery_percent"));
}

TEST_F(PanelMetrics, a_hostile_network_name_stays_within_its_label) {
    std::vector<std::uint8_t> wifi{9, 60, 70, 256 - 48, 0x6C, 0x09};
    for (const char c : std::string("a\"} 1\nb\\\xFF\xC3\xA4"))
        wifi.push_back(static_cast<std::uint8_t>(c));
    wifi.resize(27);
    report(wifi);
    const Samples told = samples();
    EXPECT_EQ(told.at("fieldrelaybox_wifi_signal_dbm"), "-48");
    EXPECT_EQ(told.at("fieldrelaybox_wifi_frequency_megahertz"), "2412");
    EXPECT_TRUE(
        told.contains("fieldrelaybox_wifi_info{ssid=\"a\\\"} 1\\\\x0ab\\\\\\\\xff\u00e4\"}"));
    wifi[3] = 0;
    report(wifi);
    EXPECT_FALSE(samples().contains("fieldrelaybox_wifi_signal_dbm"));
}

struct Region {
    std::string name = "/panel_metrics_test_" + std::to_string(getpid());
    Statistics record{};

    Region() {
        record.magic = FIELDRELAYBOX_STATISTICS_MAGIC;
        record.version = FIELDRELAYBOX_STATISTICS_VERSION;
        record.size = sizeof record + 8; // of a later daemon
        record.process_id = static_cast<std::uint32_t>(getpid());
    }
    ~Region() { shm_unlink(name.c_str()); }
    Samples samples(std::size_t size = sizeof(Statistics) + 8) const {
        const int file = shm_open(name.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
        EXPECT_EQ(ftruncate(file, static_cast<off_t>(size)), 0);
        EXPECT_EQ(write(file, &record, std::min(size, sizeof record)),
                  static_cast<ssize_t>(std::min(size, sizeof record)));
        close(file);
        MetricText text;
        add_daemon_metrics(text, name.c_str());
        return parse(text.text);
    }
};

TEST(PanelDaemonMetrics, the_counters_of_the_daemon_are_told) {
    Region region;
    region.record.video_in = {1000, 5'000'000'000};
    region.record.player_out = {11, 22, 33, 44};
    region.record.frames_ignored = 6;
    region.record.saves_failed = 2;
    region.record.settings_unsaved = 1;
    for (const std::size_t place : {3, 4})
        region.record.udp_clients[place] = {0x050200C0, 5000, 1, {}, {70, 80, 90, 0}};
    const Samples told = region.samples();
    expect_samples(told,
                   {{"received_datagrams_total{input=\"video\"}", "1000"},
                    {"received_bytes_total{input=\"video\"}", "5000000000"},
                    {"sent_datagrams_total{output=\"player\"}", "11"},
                    {"sent_bytes_total{output=\"player\"}", "22"},
                    {"sent_blocked_total{output=\"player\"}", "33"},
                    {"sent_failed_total{output=\"player\"}", "44"},
                    {"camera_frames_total{result=\"ignored\"}", "6"},
                    {"settings_saves_total{result=\"failed\"}", "2"},
                    {"settings_unsaved", "1"},
                    {"udp_client_sent_bytes_total{address=\"192.0.2.5:5000\",place=\"3\"}", "80"},
                    {"udp_client_blocked_total{address=\"192.0.2.5:5000\",place=\"4\"}", "90"}});
    EXPECT_FALSE(told.contains("app_sent_bytes_total"));
}

TEST(PanelDaemonMetrics, what_is_no_record_of_a_daemon_that_runs_is_left_out) {
    Region region;
    EXPECT_FALSE(region.samples().empty());
    EXPECT_TRUE(region.samples(sizeof(Statistics) - 8).empty());
    EXPECT_TRUE(region.samples(0).empty());
    const auto without = [&region](auto Statistics::*member, std::uint32_t value) {
        Region other;
        other.record.*member = value;
        return other.samples().empty();
    };
    EXPECT_TRUE(without(&Statistics::magic, 0));
    EXPECT_TRUE(without(&Statistics::version, 2));
    EXPECT_TRUE(without(&Statistics::size, sizeof(Statistics) - 1));
    EXPECT_TRUE(without(&Statistics::process_id, 0));
    const pid_t ended = fork();
    if (ended == 0)
        _exit(0);
    waitpid(ended, nullptr, 0);
    EXPECT_TRUE(without(&Statistics::process_id, static_cast<std::uint32_t>(ended)));
}

} // namespace
