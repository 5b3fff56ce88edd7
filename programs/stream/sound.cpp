// The sound card's sound to the daemon.
#include "stream/kinds.h"

namespace stream {

Plan plan_sound(const ConfigRecord& settings, const Surroundings& /*surroundings*/) {
    if (settings.audio_enabled == 0)
        return {};
    return {.command =
                Command{"gst-launch-1.0", words_of("alsasrc ! audioconvert ! audioresample ! "
                                                   "audio/x-raw,rate=48000 ! avenc_aac bitrate=" +
                                                   std::to_string(settings.audio_bitrate) +
                                                   " ! aacparse ! audio/mpeg,stream-format=adts ! "
                                                   "udpsink host=127.0.0.1 port=4001 sync=false")},
            .fault = ""};
}

} // namespace stream
