// A picture from elsewhere to the daemon in place of the camera's; and its sound, unless that of
// the sound card is asked for: two sounds at one port would be mixed frame by frame.
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

// What is to be made of a source.
struct Task {
    const std::string& url;
    const Surroundings& surroundings;
    bool with_sound;
};

// What is H.264 or AAC already is passed on as it is. A branch without words drops its track.
Words opened(const Task& task, bool paced) {
    const Words picture = picture_sink(paced);
    const Words sound = sound_sink(paced);
    const auto sound_branch = [&](const char* name, const Words& words) {
        return branch(name, task.with_sound ? joined({words, sound}) : Words{});
    };
    return {
        "tracks",
        paced ? "loop=true" : "loop=false",
        property("uri", task.url),
        branch("h264", joined({words_of("h264parse config-interval=-1 ! video/x-h264,"
                                        "stream-format=byte-stream,alignment=au"),
                               picture})),
        branch("video", joined({words_of(paced ? "" : newest_pictures), words_of("deinterlace !"),
                                h264_encoder(picture_bits, task.surroundings), picture})),
        sound_branch("aac", words_of("aacparse ! audio/mpeg,stream-format=adts")),
        sound_branch("audio", aac_encoder(sound_bits))};
}

Words live(const Task& task) {
    return opened(task, false);
}

Words file(const Task& task) {
    return opened(task, true);
}

Words test_picture(const Task& task) {
    const Words sound = joined({words_of("audiotestsrc is-live=true wave=ticks !"),
                                aac_encoder(sound_bits), sound_sink(false)});
    return joined({words_of("-q videotestsrc is-live=true pattern=smpte horizontal-speed=2 ! "
                            "video/x-raw,format=I420,width=640,height=360,framerate=30/1 ! "
                            "clockoverlay font-desc=Sans,24 !"),
                   h264_encoder(test_picture_bits, task.surroundings), picture_sink(false),
                   task.with_sound ? sound : Words{}});
}

struct Scheme {
    std::string_view prefix; // of the URL
    Words (*pipeline)(const Task& task);
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

Plan plan_source(const ConfigRecord& settings, const Surroundings& surroundings) {
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
                               scheme->pipeline({.url = config.url,
                                                 .surroundings = surroundings,
                                                 .with_sound = settings.audio_enabled == 0})},
            .fault = ""};
}

} // namespace stream
