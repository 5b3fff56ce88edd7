// The picture at the size and the bit rate of the settings, back to the daemon.
#include "stream/kinds.h"

namespace stream {

Plan plan_transcode(const ConfigRecord& settings,
                    const Surroundings& /*surroundings*/) {
    if (settings.video_transcode_enabled == 0)
        return {};
    constexpr int bits = 1000;
    return {.command =
                Command{"gst-launch-1.0",
                        words_of("udpsrc address=127.0.0.1 port=3000 do-timestamp=true ! h264parse "
                                 "! avdec_h264 ! videoscale add-borders=true ! "
                                 "video/x-raw,pixel-aspect-ratio=1/1,width=" +
                                 std::to_string(settings.video_width) +
                                 ",height=" + std::to_string(settings.video_height) +
                                 " ! videoconvert ! keyframes ! x264enc tune=zerolatency "
                                 "speed-preset=ultrafast bitrate=" +
                                 std::to_string(settings.video_bitrate / bits) +
                                 " ! video/x-h264,stream-format=byte-stream ! datagrams "
                                 "max-size=1400 ! udpsink host=127.0.0.1 port=3001 sync=false")},
            .fault = ""};
}

} // namespace stream
