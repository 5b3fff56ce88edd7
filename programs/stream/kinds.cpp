#include "stream/kinds.h"

#include <algorithm>
#include <array>

namespace stream {

namespace {

constexpr std::array<Kind, 8> all_kinds{{
    {"rtmp", "the picture and the sound to a streaming server (rtmp_url)", plan_rtmp},
    {"mpegts", "MPEG-TS over UDP to mpegts_clients", plan_mpegts},
    {"tcp", "MPEG-TS to any number of players at tcp_port", plan_tcp},
    {"rtsp", "rtsp://BOX:8554/video", plan_rtsp},
    {"transcode", "the picture at another size and bit rate, for all others", plan_transcode},
    {"player", "the picture on the box's own screen", plan_player},
    {"sound", "the sound card's sound for all others", plan_sound},
    {"source", "a picture from elsewhere in place of the camera's", plan_source},
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
