// Settings of the picture, the streams and the sound; see setting.h.
#pragma once

#include "config/setting_macros.h"

namespace fieldrelaybox {

inline constexpr std::string_view kill_stream_outputs = "killall -q gst-launch-1.0 rtsp-server";
inline constexpr std::string_view kill_encoders = "killall -q rtsp-server gst-launch-1.0";

// clang-format off
inline constexpr std::array stream_settings{
    Setting{SETTING(streams, hdmi_enabled, boolean),
        .comment = "# Fieldrelaybox config file\r\n"
                   "\r\n"
                   "# Video out selection\r\n"
                   "# 1 - use HDMI\r\n"
                   "# 0 - use TV-out\r\n",
        .label = "Video out", .help = "video out",
        .choices = "1 HDMI|0 TV-out (composite)",
        .sample = "1", .report = {"hdmistate", 270}, .parameters = {{{"hdmi_enabled", 1}}},
        .commands = {"./scripts/hdmi-change.sh %d"}},
    Setting{SETTING(streams, udp_enabled, boolean),
        .comment = "# UDP stream enable\r\n" ENABLED_OR_DISABLED,
        .label = "Raw UDP",
        .help = "raw UDP stream: the camera's video as it is, or as the transcoder gives it, to `udp_clients`",
        .sample = "1", .report = {"udp_en", 10}, .parameters = {{{"udp_enabled", 1}}}},
    Setting{SETTING(streams, rtmp_enabled, boolean),
        .comment = "# RTMP stream enable\r\n" ENABLED_OR_DISABLED,
        .label = "RTMP", .help = "RTMP stream to `rtmp_url`",
        .report = {"rtmp_en", 30}, .parameters = {{{"rtmp_enabled", 1}}},
        .commands = {kill_stream_outputs}},
    Setting{SETTING(streams, mpegts_enabled, boolean),
        .comment = "# UDP MPEG-TS stream enable\r\n" ENABLED_OR_DISABLED,
        .label = "MPEG-TS over UDP", .help = "UDP MPEG-TS stream to `mpegts_clients`",
        .report = {"mpegts_en", 50}, .parameters = {{{"mpegts_enabled", 1}}}},
    Setting{SETTING(streams, tcp_enabled, boolean),
        .comment = "# TCP MPEG-TS stream enable\r\n" ENABLED_OR_DISABLED,
        .label = "MPEG-TS over TCP", .help = "TCP MPEG-TS server on `tcp_port`",
        .report = {"tcp_en", 20}, .parameters = {{{"tcp_enabled", 1}}}},
    Setting{SETTING(streams, rtsp_enabled, boolean),
        .comment = "# RTSP stream enable\r\n" ENABLED_OR_DISABLED,
        .label = "RTSP", .help = "RTSP server",
        .report = {"rtsp_en", 40}, .parameters = {{{"rtsp_enabled", 1}}},
        .commands = {"killall -q rtsp-server"}},
    Setting{SETTING(streams, video_transcode_enabled, boolean),
        .comment = "# Video transcode enabled\r\n",
        .label = "Transcoding", .help = "transcode the camera's video before it is sent on",
        .report = {"vte", 130}, .parameters = {{{"video_transcode_enabled", 1}}},
        .conversion = Conversion::nonzero, .commands = {kill_encoders}},
    Setting{SETTING(streams, video_bitrate, integer),
        .comment = "# Transcoded video bitrate (bit/s)\r\n",
        .label = "Video bit rate", .help = "bit rate of the transcoded video", .unit = "bit/s",
        .initial = {DefaultTime::after_loading, "1000000"}, .sample = "1000000",
        .report = {"vbitrate", 100}, .parameters = {{{"video_bitrate", 1, "bit/s"}}},
        .commands = {kill_encoders}},
    Setting{SETTING(streams, video_width, integer),
        .comment = "# Transcoded video width\r\n",
        .label = "Video width", .help = "width of the transcoded video", .unit = "pixels",
        .initial = {DefaultTime::after_loading, "1280"}, .sample = "1280",
        .report = {"vw", 110}, .parameters = {{{"video_resolution", 1, "resolution"}}},
        .conversion = Conversion::resolution_width, .commands = {kill_encoders}},
    Setting{SETTING(streams, video_height, integer),
        .comment = "# Transcoded video height\r\n",
        .label = "Video height", .help = "height of the transcoded video", .unit = "pixels",
        .initial = {DefaultTime::after_loading, "720"}, .sample = "720",
        .report = {"vh", 120}, .parameters = {{{"video_resolution", 1, "resolution"}}},
        .conversion = Conversion::resolution_height, .commands = {kill_encoders}},
};

inline constexpr std::array sound_settings{
    Setting{SETTING(sound, audio_enabled, boolean),
        .comment = "# Audio support (needed external USB sound-card)\r\n" ENABLED_OR_DISABLED,
        .label = "Sound", .help = "audio from a USB sound card",
        .report = {"audio_en", 140}, .parameters = {{{"audio_enabled", 1}}},
        .commands = {"./scripts/audio-change.sh %d >> /dev/null"}},
    Setting{SETTING(sound, audio_bitrate, integer),
        .comment = "# Audio bitrate (bit/s)\r\n"
                   "# 8000 - 256000 \n", // files in the field have this lone "\n" as well
        .label = "Sound bit rate", .help = "bit rate of the sound", .unit = "bit/s",
        .limits = {8000, 256000}, .sample = "64000",
        .report = {"abitrate", 150}, .parameters = {{{"audio_bitrate", 1, "bit/s"}}},
        .commands = {"./scripts/audio-change.sh restart >> /dev/null &"}},
    Setting{SETTING(sound, audio_volume, integer),
        .comment = "# Audio volume (%)\r\n"
                   "# 0 - 100\r\n",
        .label = "Recording volume", .help = "volume of the recording", .unit = "percent",
        .limits = {0, 100}, .sample = "80",
        .report = {"avol", 160}, .parameters = {{{"audio_volume", 1, "percent"}}},
        .commands = {"./scripts/audio-volume.sh %d >> /dev/null"}},
    Setting{SETTING(sound, audio_autogain, boolean),
        .comment = "# Use auto gain for audio capture\r\n" ENABLED_OR_DISABLED,
        .label = "Automatic gain", .help = "automatic gain for the capture",
        .report = {"again", 170}, .parameters = {{{"audio_autogain", 1}}},
        .commands = {"./scripts/audio-gain.sh %d >> /dev/null"}},
};

inline constexpr std::array stream_target_settings{
    Setting{SETTING(streams, rtmp_url, quoted_text),
        .comment = "# RTMP url for streaming\r\n",
        .label = "RTMP address", .help = "where the RTMP stream goes",
        .report = {"rtmp_url", 60}, .parameters = {{{"rtmp_url", 1, "URL"}}},
        .commands = {kill_stream_outputs}},
    Setting{SETTING(streams, tcp_port, integer),
        .comment = "# TCP server port for TCP MPEG-TS clients\r\n",
        .label = "TCP port", .help = "port of the TCP MPEG-TS server",
        .limits = {1, 65535}, .sample = "8555",
        .report = {"tcp_port", 70}, .parameters = {{{"tcp_port", 1, "port"}}},
        .commands = {kill_stream_outputs}},
    Setting{SETTING(streams, mpegts_clients, text),
        .comment = "# Clients list for UDP MPEG-TS streaming\r\n"
                   "# for example, 192.168.1.10:5000,192.168.1.11:5000\r\n",
        .label = "MPEG-TS receivers",
        .help = "receivers of the UDP MPEG-TS stream: `192.168.1.10:5000,192.168.1.11:5000`",
        .report = {"mpegts_clients", 80},
        .parameters = {{{"mpegts_clients", 1, "address:port,..."}}},
        .commands = {kill_stream_outputs}},
    Setting{SETTING(streams, udp_clients, text),
        .comment = "# Clients list for raw UDP streaming\r\n"
                   "# for example, 192.168.1.10:3000,192.168.1.11:3000\r\n",
        .label = "Raw UDP receivers",
        .help = "receivers of the raw UDP stream, the same form; ports 1 to 65534 (audio goes to "
                "the port above), at most 10; none that is the box itself at 3001, 4001, 4242, "
                "5000 or 5001",
        .report = {"udp_clients", 90},
        .parameters = {{{"udp_clients", 1, "address:port,..."}}}},
};
// clang-format on

} // namespace fieldrelaybox
