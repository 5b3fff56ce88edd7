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

struct BitRate {
    int bits;
    std::string fault; // what is wrong with that of the settings; empty: nothing
};

BitRate bit_rate(int asked) {
    constexpr int unless_asked = 64'000;
    constexpr int least = 8000;
    constexpr int most = 256'000;
    const int bits = asked == 0 ? unless_asked : std::clamp(asked, least, most);
    if (asked == 0 || bits == asked)
        return {.bits = bits, .fault = ""};
    return {.bits = bits,
            .fault = "audio_bitrate is " + std::to_string(asked) + ", not 8000 to 256000; " +
                     std::to_string(bits) + " is taken"};
}

} // namespace

Plan plan_sound(const ConfigRecord& settings, const Surroundings& surroundings) {
    if (settings.audio_enabled == 0)
        return {};
    const SourceConfig config = read_source_config(surroundings.source_config);
    const Words input = sound_input(config.sound, surroundings);
    const std::string separator = config.fault.empty() ? "" : "; ";
    if (input.empty())
        return {.command = std::nullopt, .fault = config.fault + separator + "no USB sound card"};
    const BitRate rate = bit_rate(settings.audio_bitrate);
    return {.command = Command{surroundings.folder + "/audio-source",
                               joined({{"-q"},
                                       input,
                                       aac_encoder(rate.bits),
                                       words_of("! udpsink host=127.0.0.1 port=4001 "
                                                "sync=false")})},
            .fault = config.fault + (rate.fault.empty() ? "" : separator + rate.fault)};
}

} // namespace stream
