// The picture at the size and the bit rate of the settings, back to the daemon.
#include "stream/codecs.h"
#include "stream/kinds.h"

namespace stream {

namespace {

constexpr int smallest_side = 16;
constexpr int longest_side = 4096;
constexpr int least_bits = 16'000;     // a second
constexpr int most_bits = 100'000'000; // a second

bool lies_between(int value, int least, int most) {
    return least <= value && value <= most;
}

// Colours are stored for two by two pixels.
std::string even(int pixels) {
    return std::to_string(pixels / 2 * 2);
}

std::string fault_of(const ConfigRecord& settings) {
    if (!lies_between(settings.video_width, smallest_side, longest_side) ||
        !lies_between(settings.video_height, smallest_side, longest_side))
        return "no picture can be " + std::to_string(settings.video_width) + " x " +
               std::to_string(settings.video_height) + " pixels (video_width, video_height)";
    if (!lies_between(settings.video_bitrate, least_bits, most_bits))
        return "no picture can have " + std::to_string(settings.video_bitrate) +
               " bit/s (video_bitrate)";
    return "";
}

} // namespace

Plan plan_transcode(const ConfigRecord& settings, const Surroundings& surroundings) {
    if (settings.video_transcode_enabled == 0)
        return {};
    if (std::string fault = fault_of(settings); !fault.empty())
        return {.command = std::nullopt, .fault = std::move(fault)};
    const Words scaler =
        words_of("videoscale add-borders=true ! "
                 "video/x-raw,pixel-aspect-ratio=1/1,width=" +
                 even(settings.video_width) + ",height=" + even(settings.video_height) + " !");
    return {.command = Command{"gst-launch-1.0",
                               joined({words_of("-q udpsrc address=127.0.0.1 port=3000 "
                                                "do-timestamp=true buffer-size=2000000 "
                                                "reuse=false ! h264units !"),
                                       h264_decoder(surroundings), words_of("!"),
                                       words_of(newest_pictures), scaler,
                                       h264_encoder(settings.video_bitrate, surroundings),
                                       words_of("! datagrams max-size=1400 ! udpsink "
                                                "host=127.0.0.1 port=3001 sync=false")})},
            .fault = ""};
}

} // namespace stream
