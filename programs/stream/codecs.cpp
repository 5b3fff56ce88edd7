#include "stream/codecs.h"

#include <algorithm>

namespace stream {

namespace {

constexpr const char* access_units = "video/x-h264,stream-format=byte-stream,alignment=au";

bool has_own_codecs(const Surroundings& surroundings) {
    return surroundings.has_element("v4l2h264dec") && surroundings.has_element("v4l2h264enc");
}

// At 30 pictures a second its own count makes a key frame a second, of fewer the requests do.
Words own_encoder(int bits_per_second) {
    return words_of("videorate drop-only=true max-rate=30 ! videoconvert ! "
                    "keyframes interval=1000 ! v4l2h264enc "
                    "extra-controls=controls,repeat_sequence_header=1,h264_i_frame_period=30,"
                    "video_bitrate=" +
                    std::to_string(bits_per_second) +
                    " ! video/x-h264,level=(string)4,profile=(string)main ! h264parse ! " +
                    access_units);
}

Words program_encoder(int bits_per_second) {
    constexpr int bits = 1000;
    return words_of("videoconvert ! video/x-raw,format=I420 ! keyframes interval=1000 ! x264enc "
                    "tune=zerolatency speed-preset=ultrafast key-int-max=1000 bitrate=" +
                    std::to_string(std::max(1, bits_per_second / bits)) + " ! " + access_units +
                    ",profile=constrained-baseline");
}

} // namespace

Words h264_decoder(const Surroundings& surroundings) {
    // Of a decoder that is too slow, half a second waits. What is newer than a gap is of no use
    // before the next key frame.
    return words_of(
        std::string("h264parse ! queue leaky=downstream max-size-buffers=15 max-size-bytes=0 "
                    "max-size-time=0 ! skiptokey ! ") +
        (has_own_codecs(surroundings) ? "v4l2h264dec"
                                      : "avdec_h264 thread-type=slice std-compliance=normal"));
}

Words h264_encoder(int bits_per_second, const Surroundings& surroundings) {
    return has_own_codecs(surroundings) ? own_encoder(bits_per_second)
                                        : program_encoder(bits_per_second);
}

// The encoder falls back to 64 kbit/s where one channel would have more than 160. Of few bits one
// channel makes more than two do.
Words aac_encoder(int bits_per_second) {
    constexpr int few_bits = 48'000;
    return words_of(std::string("audioconvert ! audioresample ! audio/x-raw,rate=48000,channels=") +
                    (bits_per_second < few_bits ? "1" : "2") +
                    " ! voaacenc bitrate=" + std::to_string(bits_per_second) +
                    " ! aacparse ! audio/mpeg,stream-format=adts");
}

} // namespace stream
