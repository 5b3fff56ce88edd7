#include "config/settings.h"

#include "core/text.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace fieldrelaybox {

namespace {

#define SETTING(key, kind, comment)                                                                \
    Setting {                                                                                      \
#key, SettingKind::kind, offsetof(ConfigRecord, key), sizeof(ConfigRecord::key), comment   \
    }

// "\r\n" everywhere but after the audio range, whose lone "\n" files in the field have as well.
constexpr std::array table{
    // clang-format off
    SETTING(hdmi_enabled, boolean,
            "# Fieldrelaybox config file\r\n"
            "\r\n"
            "# Video out selection\r\n"
            "# 1 - use HDMI\r\n"
            "# 0 - use TV-out\r\n"),
    SETTING(udp_enabled, boolean,
            "# UDP stream enable\r\n"
            "# 1 - enabled\r\n"
            "# 0 - disabled\r\n"),
    SETTING(rtmp_enabled, boolean,
            "# RTMP stream enable\r\n"
            "# 1 - enabled\r\n"
            "# 0 - disabled\r\n"),
    SETTING(mpegts_enabled, boolean,
            "# UDP MPEG-TS stream enable\r\n"
            "# 1 - enabled\r\n"
            "# 0 - disabled\r\n"),
    SETTING(tcp_enabled, boolean,
            "# TCP MPEG-TS stream enable\r\n"
            "# 1 - enabled\r\n"
            "# 0 - disabled\r\n"),
    SETTING(rtsp_enabled, boolean,
            "# RTSP stream enable\r\n"
            "# 1 - enabled\r\n"
            "# 0 - disabled\r\n"),
    SETTING(video_transcode_enabled, boolean,
            "# Video transcode enabled\r\n"),
    SETTING(video_bitrate, integer,
            "# Transcoded video bitrate (bit/s)\r\n"),
    SETTING(video_width, integer,
            "# Transcoded video width\r\n"),
    SETTING(video_height, integer,
            "# Transcoded video height\r\n"),
    SETTING(audio_enabled, boolean,
            "# Audio support (needed external USB sound-card)\r\n"
            "# 1 - enabled\r\n"
            "# 0 - disabled\r\n"),
    SETTING(audio_bitrate, integer,
            "# Audio bitrate (bit/s)\r\n"
            "# 8000 - 256000 \n"),
    SETTING(audio_volume, integer,
            "# Audio volume (%)\r\n"
            "# 0 - 100\r\n"),
    SETTING(audio_autogain, boolean,
            "# Use auto gain for audio capture\r\n"
            "# 1 - enabled\r\n"
            "# 0 - disabled\r\n"),
    SETTING(rc_input_enabled, boolean,
            "# Use RC control\r\n"
            "# 1 - enabled\r\n"
            "# 0 - disabled\r\n"),
    SETTING(rc_input_mode, text,
            "# RC1 mode\r\n"
            "# pwm - PWM mode\r\n"
            "# ppm - PPM mode\r\n"),
    SETTING(rc2_input_mode, text,
            "# RC2 mode\r\n"
            "# sbus - Sbus mode\r\n"
            "# ppm - PPM mode\r\n"),
    SETTING(rc_input_map, text,
            "# RC channels mapping\r\n"
            "# pan,tilt,zoom... etc\r\n"),
    SETTING(rc_input_speed_pan, integer,
            "# RC pan speed (%)\r\n"
            "# 0 - 100\r\n"),
    SETTING(rc_input_speed_tilt, integer,
            "# RC tilt speed (%)\r\n"
            "# 0 - 100\r\n"),
    SETTING(rc_input_inverse_pan, integer,
            "# RC pan inverse\r\n"
            "# 0 - no\r\n"
            "# 1 - inverse\r\n"),
    SETTING(rc_input_inverse_tilt, integer,
            "# RC tilt inverse\r\n"
            "# 0 - no\r\n"
            "# 1 - inverse\r\n"),
    SETTING(rc_input_exp, boolean,
            "# RC exponential pan/tilt\r\n"),
    SETTING(rtmp_url, quoted_text,
            "# RTMP url for streaming\r\n"),
    SETTING(tcp_port, integer,
            "# TCP server port for TCP MPEG-TS clients\r\n"),
    SETTING(mpegts_clients, text,
            "# Clients list for UDP MPEG-TS streaming\r\n"
            "# for example, 192.168.1.10:5000,192.168.1.11:5000\r\n"),
    SETTING(udp_clients, text,
            "# Clients list for raw UDP streaming\r\n"
            "# for example, 192.168.1.10:3000,192.168.1.11:3000\r\n"),
    SETTING(ap_iface, text,
            "# Interface for Wi-Fi access point\r\n"
            "# disabled if empty\r\n"),
    SETTING(ap_ssid, quoted_text,
            "# SSID for Wi-Fi access point\r\n"),
    SETTING(ap_psk, quoted_text,
            "# Password for Wi-Fi access point\r\n"),
    SETTING(ap_mode, integer,
            "# Wi-Fi Access Point mode\r\n"
            "# 2 - 2.4GHz, 5 - 5GHz\r\n"),
    SETTING(ap_country, text,
            "# Wi-Fi Access Point country code\r\n"
            "# 00, CN, US\r\n"),
    SETTING(ap_channel, integer,
            "# Wi-Fi Access Point channel\r\n"
            "# 1 - 13 for 2.4Ghz and 36 - 42 for 5Ghz\r\n"),
    SETTING(wifi_iface, text,
            "# Interface for Wi-Fi network connection\r\n"
            "# disabled if empty\r\n"),
    SETTING(wifi_ssid, quoted_text,
            "# SSID for network connection \r\n"),
    SETTING(wifi_psk, quoted_text,
            "# Password for network connection \r\n"),
    SETTING(camera_iface, text,
            "# Interface for DJI Osmo connection\r\n"
            "# disabled if empty\r\n"),
    SETTING(camera_ssid, quoted_text,
            "# DJI Osmo Wi-Fi SSID \r\n"),
    SETTING(camera_psk, quoted_text,
            "# DJI Osmo Wi-Fi password \r\n"),
    SETTING(display_enabled, boolean,
            "# OLED display enable \r\n"
            "# 1 - enabled\r\n"
            "# 0 - disabled\r\n"),
    SETTING(osd_enabled, boolean,
            "# OSD enable \r\n"
            "# 1 - enabled\r\n"
            "# 0 - disabled\r\n"),
    SETTING(osd_border_width, byte,
            "# OSD borders width (pixels)\r\n"
            "# 0 - disabled\r\n"),
    SETTING(osd_border_height, byte,
            "# OSD borders height (pixels)\r\n"
            "# 0 - disabled\r\n"),
    SETTING(osd_top_offset, byte,
            "# OSD top text offset (pixels)\r\n"),
    SETTING(osd_bottom_offset, byte,
            "# OSD bottom text offset (pixels)\r\n"),
    SETTING(hud_enabled, boolean,
            "# HUD enable \r\n"
            "# 1 - enabled\r\n"
            "# 0 - disabled\r\n"),
    SETTING(internal_camera_enabled, boolean,
            "# Internal camera enable \r\n"
            "# 1 - enabled\r\n"
            "# 0 - disabled\r\n"),
    SETTING(internal_camera_fullscreen, boolean,
            "# Internal camera fullscreen \r\n"
            "# 1 - fullscreen\r\n"
            "# 0 - windowed\r\n"),
    SETTING(focus_assistant_enabled, boolean,
            "# Focus assistant enable \r\n"
            "# 1 - enabled\r\n"
            "# 0 - disabled\r\n"),
    SETTING(server_enabled, boolean,
            "##################### \r\n"
            "# Server connection \r\n"
            "##################### \r\n"
            "\r\n"
            "# Server connection enabled \r\n"
            "# 1 - enabled\r\n"
            "# 0 - disabled\r\n"),
    SETTING(server_host, quoted_text,
            "# Server host \r\n"),
    SETTING(server_port, integer,
            "# Server port \r\n"),
    SETTING(server_user, quoted_text,
            "# Server user name \r\n"),
    SETTING(server_pass, quoted_text,
            "# Server password \r\n"),
    SETTING(server_devid, quoted_text,
            "# Server device id \r\n"),
    // clang-format on
};

#undef SETTING

template<class Field> Field get_field(const ConfigRecord& record, const Setting& setting) {
    Field value{};
    std::memcpy(&value, reinterpret_cast<const char*>(&record) + setting.offset, sizeof value);
    return value;
}

template<class Field> void set_field(ConfigRecord& record, const Setting& setting, Field value) {
    std::memcpy(reinterpret_cast<char*>(&record) + setting.offset, &value, sizeof value);
}

void remove_quotes(char* field, std::size_t capacity) {
    const std::string_view text = text_of(field, capacity);
    char* end = std::remove(field, field + text.size(), '"');
    std::memset(end, 0, static_cast<std::size_t>(field + capacity - end));
}

void read_text(const Setting& setting, const char* value, ConfigRecord& record) {
    char* field = reinterpret_cast<char*>(&record) + setting.offset;
    copy_text(field, setting.capacity, value);
    // After the cut, so quotes count against the capacity.
    if (setting.kind == SettingKind::quoted_text)
        remove_quotes(field, setting.capacity);
}

std::string format_value(const Setting& setting, const ConfigRecord& record) {
    switch (setting.kind) {
    case SettingKind::boolean:
    case SettingKind::byte:
        return std::to_string(get_field<std::uint8_t>(record, setting));
    case SettingKind::integer:
        return std::to_string(get_field<std::int32_t>(record, setting));
    case SettingKind::text:
    case SettingKind::quoted_text:
        break;
    }
    const char* field = reinterpret_cast<const char*>(&record) + setting.offset;
    const std::string text(text_of(field, setting.capacity));
    return setting.kind == SettingKind::quoted_text ? '"' + text + '"' : text;
}

} // namespace

std::span<const Setting> settings() {
    return table;
}

const Setting* find_setting(std::string_view key) {
    const auto* found = std::find_if(table.begin(), table.end(),
                                     [key](const Setting& setting) { return setting.key == key; });
    return found == table.end() ? nullptr : found;
}

void read_setting(const Setting& setting, const char* value, ConfigRecord& record) {
    switch (setting.kind) {
    case SettingKind::boolean:
        set_field<std::uint8_t>(record, setting, parse_decimal(value) != 0 ? 1 : 0);
        break;
    case SettingKind::integer:
        set_field<std::int32_t>(record, setting, parse_decimal(value));
        break;
    case SettingKind::byte:
        set_field(record, setting, static_cast<std::uint8_t>(parse_decimal(value) & 0xFF));
        break;
    case SettingKind::text:
    case SettingKind::quoted_text:
        read_text(setting, value, record);
        break;
    }
}

std::string format_setting(const Setting& setting, const ConfigRecord& record) {
    return std::string(setting.key) + '=' + format_value(setting, record);
}

} // namespace fieldrelaybox
