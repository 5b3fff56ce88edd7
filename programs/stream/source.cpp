// A picture from elsewhere, and its sound, to the daemon in place of the camera's.
#include "stream/codecs.h"
#include "stream/kinds.h"
#include "stream/source_config.h"

#include <algorithm>
#include <array>

namespace stream {

namespace {

constexpr int picture_bits = 4'000'000; // a second, of what comes without being H.264
constexpr int test_picture_bits = 800'000;
constexpr int sound_bits = 128'000;

// To the daemon; what has a clock of its own is not held up again.
Words picture_sink(bool paced) {
    return words_of(std::string("! datagrams max-size=1300 ! udpsink host=127.0.0.1 port=5000 "
                                "async=false sync=") +
                    (paced ? "true" : "false"));
}

Words sound_sink(bool paced) {
    return words_of(std::string("! udpsink host=127.0.0.1 port=4001 async=false sync=") +
                    (paced ? "true" : "false"));
}

std::string branch(const char* name, const Words& words) {
    std::string text;
    for (const std::string& word : words)
        text += (text.empty() ? "" : " ") + word;
    return property(name, text);
}

// What is H.264 or AAC already is passed on as it is.
Words opened(const std::string& url, const Surroundings& surroundings, bool paced) {
    const Words picture = picture_sink(paced);
    const Words sound = sound_sink(paced);
    return {
        "tracks",
        property("uri", url),
        branch("h264", joined({words_of("h264parse config-interval=-1 ! video/x-h264,"
                                        "stream-format=byte-stream,alignment=au"),
                               picture})),
        branch("video", joined({words_of(paced ? "" : newest_pictures), words_of("deinterlace !"),
                                h264_encoder(picture_bits, surroundings), picture})),
        branch("aac", joined({words_of("aacparse ! audio/mpeg,stream-format=adts"), sound})),
        branch("audio", joined({aac_encoder(sound_bits), sound}))};
}

Words live(const std::string& url, const Surroundings& surroundings) {
    return opened(url, surroundings, false);
}

Words file(const std::string& url, const Surroundings& surroundings) {
    return opened(url, surroundings, true);
}

Words test_picture(const std::string& /*url*/, const Surroundings& surroundings) {
    return joined({words_of("-q videotestsrc is-live=true pattern=smpte horizontal-speed=2 ! "
                            "video/x-raw,format=I420,width=640,height=360,framerate=30/1 ! "
                            "clockoverlay font-desc=Sans,24 !"),
                   h264_encoder(test_picture_bits, surroundings), picture_sink(false),
                   words_of("audiotestsrc is-live=true wave=ticks !"), aac_encoder(sound_bits),
                   sound_sink(false)});
}

struct Scheme {
    std::string_view prefix; // of the URL
    Words (*pipeline)(const std::string& url, const Surroundings& surroundings);
};

constexpr std::array schemes{
    Scheme{"rtsp://", live}, Scheme{"v4l2://", live},       Scheme{"udp://", live},
    Scheme{"file://", file}, Scheme{"test:", test_picture},
};

// As much of url as is no secret.
std::string unknown_scheme(const std::string& url) {
    const std::size_t colon = url.find(':');
    return colon == std::string::npos ? "url= names it" : url.substr(0, colon);
}

} // namespace

Plan plan_source(const ConfigRecord& /*settings*/, const Surroundings& surroundings) {
    const SourceConfig config = read_source_config(surroundings.source_config);
    if (!config.fault.empty() || config.url.empty())
        return {.command = std::nullopt, .fault = config.fault};
    const auto* const scheme = std::ranges::find_if(
        schemes, [&](const Scheme& it) { return config.url.starts_with(it.prefix); });
    if (scheme == schemes.end())
        return {.command = std::nullopt,
                .fault = surroundings.source_config + ": no source can be opened as " +
                         unknown_scheme(config.url)};
    return {.command = Command{surroundings.folder + "/video-receiver",
                               scheme->pipeline(config.url, surroundings)},
            .fault = ""};
}

} // namespace stream
