#include "stream/kinds.h"

#include <algorithm>
#include <array>

namespace stream {

namespace {

// Where what was missing may come back at any time; starting a program twice in 5 s is too much for
// one that lacks a screen.
constexpr int soon_ms = 2000;
constexpr int later_ms = 5000;

constexpr bool with_settings = true;
constexpr bool with_source_config = true;

constexpr std::array<Kind, 8> all_kinds{{
    {"rtmp", "the picture and the sound to a streaming server (rtmp_url)", "rtmp_enabled=0",
     with_settings, !with_source_config, later_ms, plan_rtmp},
    {"mpegts", "MPEG-TS over UDP to mpegts_clients", "mpegts_enabled=0", with_settings,
     !with_source_config, soon_ms, plan_mpegts},
    {"tcp", "MPEG-TS to any number of players at tcp_port", "tcp_enabled=0", with_settings,
     !with_source_config, soon_ms, plan_tcp},
    {"rtsp", "rtsp://BOX:8554/video", "rtsp_enabled=0", with_settings, !with_source_config, soon_ms,
     plan_rtsp},
    {"transcode", "the picture at another size and bit rate, for all others",
     "video_transcode_enabled=0", with_settings, !with_source_config, soon_ms, plan_transcode},
    {"player", "the picture on the box's own screen", "not asked for", with_settings,
     !with_source_config, later_ms, plan_player},
    {"sound", "the sound card's sound for all others", "audio_enabled=0", with_settings,
     with_source_config, later_ms, plan_sound},
    {"source", "a picture from elsewhere in place of the camera's", "no source is named",
     !with_settings, with_source_config, soon_ms, plan_source},
}};

} // namespace

std::span<const Kind> kinds() {
    return all_kinds;
}

const Kind* find_kind(std::string_view name) {
    const auto* const found = std::ranges::find(all_kinds, name, &Kind::name);
    return found == all_kinds.end() ? nullptr : found;
}

} // namespace stream
