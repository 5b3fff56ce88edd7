#include "media/media_sources.h"

#include "core/log.h"
#include "media/media_receiver.h"
#include "media/relay.h"

namespace fieldrelaybox {

namespace {

constexpr std::size_t audio_datagram_capacity = 30'000;
constexpr std::size_t transcoded_datagram_capacity = 10'000;
constexpr std::int64_t transcode_pause_us = 5'000;
constexpr int default_buffers = 0;

} // namespace

void init_audio_source() {
    log_line("Init audio source");
    start_media_receiver({"audio", Vital::audio, audio_source_port, audio_datagram_capacity,
                          default_buffers, media_pause_us, &Statistics::audio_in, false,
                          [](Datagrams rest) {
                              relay_audio(bytes_of(rest.front()));
                              return std::size_t{1};
                          }});
}

void init_transcode() {
    log_line("Init transcode");
    start_media_receiver({"transcode", Vital::transcode, transcoded_video_port,
                          transcoded_datagram_capacity, default_buffers, transcode_pause_us,
                          &Statistics::transcoded_in, true, relay_transcoded_video});
}

} // namespace fieldrelaybox
