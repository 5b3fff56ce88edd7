// The sound card's sound to the daemon.
#include "config/whole_files.h"
#include "stream/codecs.h"
#include "stream/kinds.h"
#include "stream/source_config.h"

#include <algorithm>
#include <string_view>

namespace stream {

namespace {

// As scripts/audio-*.sh find the card: the first of the kernel's list that hangs on USB. Its lines
// are like " 1 [Device         ]: USB-Audio - USB Audio Device". Empty when there is none.
std::string usb_card(const std::string& list) {
    constexpr std::string_view digits = "0123456789";
    for (std::size_t begin = 0; begin < list.size();) {
        const std::size_t end = std::min(list.find('\n', begin), list.size());
        const std::string line = list.substr(begin, end - begin);
        begin = end + 1;
        const std::size_t number = line.find_first_not_of(' ');
        const std::size_t behind = line.find_first_not_of(digits, number);
        if (line.find("USB-Audio") != std::string::npos && number != behind &&
            behind != std::string::npos && line.compare(behind, 2, " [") == 0)
            return line.substr(number, behind - number);
    }
    return "";
}

// Empty when there is nothing to listen to.
Words sound_input(const std::string& named, const Surroundings& surroundings) {
    if (named == "test:")
        return words_of("audiotestsrc is-live=true wave=ticks !");
    if (!named.empty())
        return joined({{"alsasrc", property("device", named)}, words_of("!")});
    const std::string card = usb_card(fieldrelaybox::read_file(surroundings.sound_cards));
    return card.empty() ? Words{} : words_of("alsasrc device=plughw:" + card + " !");
}

} // namespace

Plan plan_sound(const ConfigRecord& settings, const Surroundings& surroundings) {
    if (settings.audio_enabled == 0)
        return {};
    const SourceConfig config = read_source_config(surroundings.source_config);
    const Words input = sound_input(config.sound, surroundings);
    if (input.empty())
        return {.command = std::nullopt, .fault = "no USB sound card"};
    return {.command = Command{surroundings.folder + "/audio-source",
                               joined({{"-q"},
                                       input,
                                       aac_encoder(settings.audio_bitrate),
                                       words_of("! udpsink host=127.0.0.1 port=4001 "
                                                "sync=false")})},
            .fault = ""};
}

} // namespace stream
