#include "panel/metrics.h"

#include "panel/daemon_metrics.h"
#include "panel/metric_text.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace panel {
namespace {

using fieldrelaybox::Bytes;
using fieldrelaybox::get_i16le;
using fieldrelaybox::get_u16le;
using fieldrelaybox::get_u32le;

// What the camera or the box has not said for so long is not known any more.
constexpr std::int64_t metric_age_us = 10 * second_us;

constexpr unsigned battery_topic = 1;
constexpr unsigned camera_topic = 2;
constexpr unsigned data_link_topic = 5 | 1 << 8;
constexpr unsigned video_link_topic = 5 | 2 << 8;
constexpr unsigned box_topic = 6;
constexpr unsigned wifi_topic = 9;
constexpr unsigned version_topic = 11;

constexpr std::size_t wifi_name_at = 6;
constexpr std::size_t wifi_name_size = 20;

double outputs_bit(Bytes record, int bit) {
    return record[3] >> bit & 1;
}

double box_bit(Bytes record, int bit) {
    return record[1] >> bit & 1;
}

double is_connected(Bytes record, int /*bit*/) {
    return record[2] == 2 ? 1 : 0;
}

double flag_bits(Bytes record, int bits) {
    return (get_u32le(&record[2]) & static_cast<std::uint32_t>(bits)) != 0 ? 1 : 0;
}

template<std::size_t Place> double byte_at(Bytes record, int /*unused*/) {
    return record[Place];
}

template<std::size_t Place> double u16_at(Bytes record, int /*unused*/) {
    return get_u16le(&record[Place]);
}

template<std::size_t Place> double u32_at(Bytes record, int /*unused*/) {
    return get_u32le(&record[Place]);
}

template<std::size_t Place> double megabytes_at(Bytes record, int /*unused*/) {
    return get_u32le(&record[Place]) * 1048576.0;
}

struct RecordMetric {
    MetricName metric;
    unsigned topic;
    std::size_t length; // of the record; another one is none
    double (*value)(Bytes record, int argument);
    int argument = 0;
    std::string_view labels = {};
};

constexpr int recording_bits = 0xC0;
constexpr int card_bit = 0x200;
constexpr int hot_bit = 0x20000;

// The layouts are those of docs/app-protocol.md.
constexpr std::array record_metrics{
    RecordMetric{
        {"camera_battery_percent", "Charge of the camera's battery."}, battery_topic, 7, u16_at<1>},
    RecordMetric{{"camera_battery_volts", "Voltage of the camera's battery."},
                 battery_topic,
                 7,
                 [](Bytes record, int) { return get_u16le(&record[3]) / 1000.0; }},
    RecordMetric{
        {"camera_battery_amperes", "Current into the camera's battery; negative: out of it."},
        battery_topic,
        7,
        [](Bytes record, int) { return get_i16le(&record[5]) / 1000.0; }},
    RecordMetric{{"camera_recording", "Whether the camera records."},
                 camera_topic,
                 24,
                 flag_bits,
                 recording_bits},
    RecordMetric{{"camera_recording_seconds", "Length of the recording that is going on."},
                 camera_topic,
                 24,
                 u16_at<22>},
    RecordMetric{{"camera_card_present", "Whether there is a card in the camera."},
                 camera_topic,
                 24,
                 flag_bits,
                 card_bit},
    RecordMetric{{"camera_card_size_bytes", "Size of the card, in whole MB of 2^20 bytes."},
                 camera_topic,
                 24,
                 megabytes_at<6>},
    RecordMetric{{"camera_card_free_bytes", "Free room on the card, likewise."},
                 camera_topic,
                 24,
                 megabytes_at<10>},
    RecordMetric{{"camera_recording_left_seconds", "Time that the card still has room for."},
                 camera_topic,
                 24,
                 u32_at<18>},
    RecordMetric{{"camera_hot", "Whether the camera says that it is hot."},
                 camera_topic,
                 24,
                 flag_bits,
                 hot_bit},
    RecordMetric{{"link_connected", "Whether the camera's link is connected."},
                 data_link_topic,
                 7,
                 is_connected,
                 0,
                 "link=\"data\""},
    RecordMetric{{"link_connected", ""}, video_link_topic, 7, is_connected, 0, "link=\"video\""},
    RecordMetric{{"apps", "Apps that are registered at the box, this panel among them."},
                 box_topic,
                 7,
                 byte_at<2>},
    RecordMetric{{"output_enabled", "Whether an output of the box is on."},
                 box_topic,
                 7,
                 outputs_bit,
                 0,
                 "output=\"udp\""},
    RecordMetric{{"output_enabled", ""}, box_topic, 7, outputs_bit, 1, "output=\"rtmp\""},
    RecordMetric{{"output_enabled", ""}, box_topic, 7, outputs_bit, 2, "output=\"mpegts\""},
    RecordMetric{{"output_enabled", ""}, box_topic, 7, outputs_bit, 3, "output=\"tcp\""},
    RecordMetric{{"output_enabled", ""}, box_topic, 7, outputs_bit, 4, "output=\"rtsp\""},
    RecordMetric{{"access_point_running", "Whether the box's access point is running."},
                 box_topic,
                 7,
                 box_bit,
                 1},
    RecordMetric{
        {"internet_reachable", "Whether the box reaches the internet."}, box_topic, 7, box_bit, 3},
    RecordMetric{{"rc_receiver_state", "State of the RC receiver."}, box_topic, 7, byte_at<5>},
    RecordMetric{
        {"wifi_quality", "Quality of the Wi-Fi link to the camera."}, wifi_topic, 27, byte_at<1>},
    RecordMetric{
        {"wifi_best_quality", "The best that its quality can be."}, wifi_topic, 27, byte_at<2>},
};

// The newest record of a topic, when it is new enough and as long as it should be.
std::optional<Bytes> newest_record(const Hub& hub, unsigned topic, std::size_t length,
                                   std::int64_t now_us) {
    const auto found = hub.records.find(topic);
    if (found == hub.records.end() || now_us - found->second.at_us > metric_age_us)
        return std::nullopt;
    const Bytes record = bytes_of(*found->second.message).subspan(1);
    return record.size() == length ? std::optional(record) : std::nullopt;
}

void add_records(MetricText& text, const Hub& hub, std::int64_t now_us) {
    for (const RecordMetric& row : record_metrics)
        if (const auto record = newest_record(hub, row.topic, row.length, now_us))
            add_metric(text, row.metric, row.value(*record, row.argument), row.labels);
}

// Without a link there is no signal, and the name is none.
void add_wifi(MetricText& text, const Hub& hub, std::int64_t now_us) {
    const auto record = newest_record(hub, wifi_topic, 27, now_us);
    if (!record || (*record)[3] == 0)
        return;
    const auto* const name = reinterpret_cast<const char*>(&(*record)[wifi_name_at]);
    const std::string_view padded(name, wifi_name_size);
    add_metric(text, {"wifi_signal_dbm", "Strength of the camera's signal."}, (*record)[3] - 256);
    add_metric(text, {"wifi_frequency_megahertz", "Frequency of the camera's network."},
               get_u16le(&(*record)[4]));
    add_metric(text, {"wifi_info", "The camera's network."}, 1,
               metric_label("ssid", padded.substr(0, padded.find('\0'))));
}

void add_version(MetricText& text, const Hub& hub, std::int64_t now_us) {
    if (const auto record = newest_record(hub, version_topic, 7, now_us))
        add_metric(text, {"box_info", "The daemon's version."}, 1,
                   metric_label("version", std::to_string((*record)[1]) + "." +
                                               std::to_string((*record)[2]) + "." +
                                               std::to_string((*record)[3])));
}

std::uint64_t pictures_left_out(const Hub& hub) {
    std::uint64_t left_out = hub.pictures_left_out;
    for (const auto& [id, browser] : hub.browsers)
        left_out += browser.outbox.pictures_left_out;
    return left_out;
}

struct OwnMetric {
    MetricName metric;
    std::uint64_t (*value)(const Hub& hub);
};

constexpr std::array own_metrics{
    OwnMetric{{"panel_box_heard", "Whether the panel hears its box."},
              [](const Hub& hub) -> std::uint64_t { return hub.link.heard ? 1 : 0; }},
    OwnMetric{{"panel_datagrams_total", "Datagrams of the box."},
              [](const Hub& hub) { return hub.link.counts.datagrams; }},
    OwnMetric{{"panel_video_datagrams_total", "Of these, with video."},
              [](const Hub& hub) { return hub.link.counts.video_datagrams; }},
    OwnMetric{{"panel_video_bytes_total", "Bytes of video."},
              [](const Hub& hub) { return hub.link.counts.video_bytes; }},
    OwnMetric{{"panel_audio_datagrams_total", "Datagrams with sound."},
              [](const Hub& hub) { return hub.link.counts.sound_datagrams; }},
    OwnMetric{{"panel_audio_bytes_total", "Bytes of sound."},
              [](const Hub& hub) { return hub.link.counts.sound_bytes; }},
    OwnMetric{{"panel_strange_datagrams_total", "Datagrams of others, or that are no message."},
              [](const Hub& hub) { return hub.link.counts.strange; }},
    OwnMetric{{"panel_lost_messages_total", "Messages of the box that never came."},
              [](const Hub& hub) { return hub.link.order.lost; }},
    OwnMetric{{"panel_late_messages_total", "Messages that came twice or too late."},
              [](const Hub& hub) { return hub.link.order.doubled; }},
    OwnMetric{{"panel_pictures_total", "Pictures put together from video."},
              [](const Hub& hub) { return hub.collector.pictures; }},
    OwnMetric{{"panel_damaged_pictures_total", "Of these, with something missing."},
              [](const Hub& hub) { return hub.collector.damaged_pictures; }},
    OwnMetric{{"panel_pictures_left_out_total", "Pictures not sent to browsers that were slow."},
              pictures_left_out},
    OwnMetric{{"panel_browsers", "Browsers that are connected."},
              [](const Hub& hub) -> std::uint64_t { return hub.browsers.size(); }},
    OwnMetric{{"panel_viewers", "Of these, with the picture."},
              [](const Hub& hub) -> std::uint64_t { return viewer_count(hub); }},
};

} // namespace

std::string metrics_text(const Hub& hub, std::size_t web_connections, std::int64_t now_us) {
    MetricText text;
    for (const OwnMetric& row : own_metrics)
        add_metric(text, row.metric, static_cast<double>(row.value(hub)));
    add_metric(text, {"panel_connections", "Open connections to the panel, of all kinds."},
               static_cast<double>(web_connections));
    add_records(text, hub, now_us);
    add_wifi(text, hub, now_us);
    add_version(text, hub, now_us);
    add_daemon_metrics(text);
    return text.text;
}

} // namespace panel
