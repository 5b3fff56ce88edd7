// The picture and the sound, as the daemon sends them to loopback ports, to the network.
#include "stream/kinds.h"

#include "config/record_fields.h"

namespace stream {

namespace {

constexpr const char* gst_launch = "gst-launch-1.0";

// The picture from a loopback port; its parameter sets are repeated with key frames, at most once a
// second.
Words picture_from(int port) {
    return words_of("udpsrc address=127.0.0.1 port=" + std::to_string(port) +
                    " do-timestamp=true ! h264parse config-interval=1 ! queue ! mux.");
}

// The sound from a loopback port over live silence, which keeps the muxer going while there is
// none.
Words sound_from(int port) {
    return words_of("audiotestsrc is-live=true wave=silence ! audio/x-raw,rate=48000,channels=2 ! "
                    "audiomixer name=mix ! avenc_aac ! aacparse ! queue ! mux. "
                    "udpsrc address=127.0.0.1 port=" +
                    std::to_string(port) +
                    " do-timestamp=true caps=audio/mpeg,mpegversion=4,stream-format=adts ! "
                    "aacparse ! avdec_aac ! audioconvert ! audioresample ! "
                    "audio/x-raw,rate=48000,channels=2 ! queue ! mix.");
}

Plan launch(Words words) {
    return {.command = Command{gst_launch, std::move(words)}, .fault = ""};
}

} // namespace

Plan plan_rtmp(const ConfigRecord& settings, const Surroundings& /*surroundings*/) {
    if (settings.rtmp_enabled == 0)
        return {};
    return launch(joined({words_of("flvmux name=mux streamable=true ! rtmp2sink sync=false"),
                          {property("location", settings.rtmp_url)},
                          picture_from(3002),
                          sound_from(4002)}));
}

Plan plan_tcp(const ConfigRecord& settings, const Surroundings& /*surroundings*/) {
    if (settings.tcp_enabled == 0)
        return {};
    return launch(joined({words_of("mpegtsmux name=mux ! tcpserversink host=0.0.0.0 "
                                   "sync-method=latest-keyframe recover-policy=keyframe "
                                   "unit-format=bytes units-max=2000000 port=" +
                                   std::to_string(settings.tcp_port)),
                          picture_from(3004), sound_from(4004)}));
}

Plan plan_mpegts(const ConfigRecord& settings, const Surroundings& /*surroundings*/) {
    if (settings.mpegts_enabled == 0)
        return {};
    return launch(joined({words_of("mpegtsmux name=mux ! datagrams max-size=1316 ! multiudpsink "
                                   "sync=false"),
                          {property("clients", settings.mpegts_clients)},
                          picture_from(3003),
                          sound_from(4003)}));
}

Plan plan_rtsp(const ConfigRecord& settings, const Surroundings& surroundings) {
    if (settings.rtsp_enabled == 0)
        return {};
    return {.command = Command{surroundings.folder + "/rtsp-server", {}}, .fault = ""};
}

} // namespace stream
