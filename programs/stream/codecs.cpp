#include "stream/codecs.h"

#include <algorithm>

namespace stream {

namespace {

constexpr const char* access_units = "video/x-h264,stream-format=byte-stream,alignment=au";

bool has_own_codecs(const Surroundings& surroundings) {
    return surroundings.has_element("v4l2h264dec") && surroundings.has_element("v4l2h264enc");
}

// It counts pictures, not time, so there are 30 a second at most. From 24 a second on a key frame
// comes at least once a second.
Words own_encoder(int bits_per_second) {
    return words_of("videorate drop-only=true max-rate=30 ! videoconvert ! v4l2h264enc "
                    "extra-controls=controls,repeat_sequence_header=1,h264_i_frame_period=24,"
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
    return words_of(has_own_codecs(surroundings)
                        ? "h264parse ! v4l2h264dec"
                        : "h264parse ! avdec_h264 thread-type=slice std-compliance=normal");
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
