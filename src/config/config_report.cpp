#include "config/config_report.h"

#include "config/interface_codes.h"

#include <array>

namespace fieldrelaybox {

namespace {

#define NUMBER(name, member)                                                                       \
    ReportMember {                                                                                 \
        name, ReportFormat::number, RECORD_FIELD(member)                                           \
    }
#define TEXT(name, member)                                                                         \
    ReportMember {                                                                                 \
        name, ReportFormat::text, RECORD_FIELD(member)                                             \
    }
#define INTERFACE(name, member)                                                                    \
    ReportMember {                                                                                 \
        name, ReportFormat::interface_code, RECORD_FIELD(member)                                   \
    }

constexpr std::array table{
    // clang-format off
    NUMBER("udp_en", udp_enabled),
    NUMBER("tcp_en", tcp_enabled),
    NUMBER("rtmp_en", rtmp_enabled),
    NUMBER("rtsp_en", rtsp_enabled),
    NUMBER("mpegts_en", mpegts_enabled),
    TEXT("rtmp_url", rtmp_url),
    NUMBER("tcp_port", tcp_port),
    TEXT("mpegts_clients", mpegts_clients),
    TEXT("udp_clients", udp_clients),
    NUMBER("vbitrate", video_bitrate),
    NUMBER("vw", video_width),
    NUMBER("vh", video_height),
    NUMBER("vte", video_transcode_enabled),
    NUMBER("audio_en", audio_enabled),
    NUMBER("abitrate", audio_bitrate),
    NUMBER("avol", audio_volume),
    NUMBER("again", audio_autogain),
    NUMBER("rcin_en", rc_input_enabled),
    TEXT("rcin_mode", rc_input_mode),
    TEXT("rcin2_mode", rc2_input_mode),
    TEXT("rcin_map", rc_input_map),
    NUMBER("rcin_pan", rc_input_speed_pan),
    NUMBER("rcin_tilt", rc_input_speed_tilt),
    NUMBER("rcin_paninv", rc_input_inverse_pan),
    NUMBER("rcin_tiltinv", rc_input_inverse_tilt),
    NUMBER("rcin_exp", rc_input_exp),
    NUMBER("hdmistate", hdmi_enabled),
    NUMBER("osdbrdw", osd_border_width),
    NUMBER("osdbrdh", osd_border_height),
    NUMBER("osdtof", osd_top_offset),
    NUMBER("osdbof", osd_bottom_offset),
    NUMBER("disp_en", display_enabled),
    NUMBER("osd_en", osd_enabled),
    NUMBER("hud_en", hud_enabled),
    NUMBER("ic_en", internal_camera_enabled),
    NUMBER("ic_fs", internal_camera_fullscreen),
    NUMBER("apstate", apstate),
    INTERFACE("ap_iface", ap_iface),
    TEXT("ap_ssid", ap_ssid),
    TEXT("ap_psk", ap_psk),
    NUMBER("ap_mode", ap_mode),
    NUMBER("ap_channel", ap_channel),
    TEXT("ap_country", ap_country),
    INTERFACE("lan_iface", wifi_iface),
    TEXT("lan_ssid", wifi_ssid),
    TEXT("lan_psk", wifi_psk),
    INTERFACE("cam_iface", camera_iface),
    TEXT("cam_ssid", camera_ssid),
    TEXT("cam_psk", camera_psk),
    TEXT("version", version),
    NUMBER("s1", server_enabled),
    TEXT("s2", server_host),
    NUMBER("s3", server_port),
    TEXT("s4", server_user),
    TEXT("s5", server_pass),
    TEXT("s6", server_devid),
    // clang-format on
};

#undef NUMBER
#undef TEXT
#undef INTERFACE

std::string format_value(const ReportMember& member, const ConfigRecord& record) {
    if (member.format == ReportFormat::number)
        return std::to_string(number_in(record, member.field));
    const std::string_view text = text_in(record, member.field);
    std::string value{'"'};
    if (member.format == ReportFormat::text)
        value += text;
    else
        value += std::to_string(code_of_interface(text));
    return value + '"';
}

} // namespace

std::span<const ReportMember> report_members() {
    return table;
}

std::string build_configuration_report(const ConfigRecord& record, std::string_view interfaces) {
    std::string report{'{'};
    for (const ReportMember& member : table) {
        report += '"';
        report += member.name;
        report += "\":" + format_value(member, record) + ',';
    }
    report += "\"ifaces\":[";
    report += interfaces;
    return report + "]}";
}

} // namespace fieldrelaybox
