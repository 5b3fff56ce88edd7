// The picture and the sound, as the daemon sends them to loopback ports, to the network.
#include "stream/kinds.h"

#include "config/own_inputs.h"
#include "config/record_fields.h"
#include "core/sockets.h"
#include "core/text.h"

#include <algorithm>
#include <array>
#include <filesystem>

namespace stream {

namespace {

constexpr std::uint16_t highest_port = 65535;

Plan launch(Words words) {
    return {.command = Command{"gst-launch-1.0", joined({words_of("-q"), std::move(words)})},
            .fault = ""};
}

Plan impossible(std::string fault) {
    return {.command = std::nullopt, .fault = std::move(fault)};
}

// rtmp://HOST/APPLICATION/KEY, with TLS as rtmps.
bool is_rtmp_address(std::string_view url) {
    const bool plain = url.starts_with("rtmp://");
    if (!plain && !url.starts_with("rtmps://"))
        return false;
    url.remove_prefix(plain ? 7 : 8);
    const std::string_view host = fieldrelaybox::take_item(url, '/');
    const std::string_view application = fieldrelaybox::take_item(url, '/');
    return !host.empty() && !application.empty() && !url.empty();
}

struct Receivers {
    std::string usable;  // "address:port,address:port"
    std::string skipped; // "TEXT: REASON, TEXT: REASON"
};

// Of the streams, at the loopback interface; MPEG-TS that comes in there would go round.
constexpr std::array inputs_of_streams{3000, 3002, 3003, 3004, 3005, 4002, 4003, 4004, 6000};

bool is_input(const sockaddr_in& receiver) {
    sockaddr_in at_own_port = receiver;
    at_own_port.sin_port = htons(fieldrelaybox::video_source_port);
    const bool own_address = fieldrelaybox::is_own_input(at_own_port, 1);
    return fieldrelaybox::is_own_input(receiver, 1) ||
           (own_address && std::ranges::find(inputs_of_streams, ntohs(receiver.sin_port)) !=
                               inputs_of_streams.end());
}

void add_item(std::string& list, std::string_view separator, const std::string& item) {
    list.append(list.empty() ? "" : separator).append(item);
}

// Each in the list, apart.
Receivers receivers_of(std::string_view list) {
    Receivers receivers;
    while (!list.empty()) {
        const std::string item{fieldrelaybox::take_item(list, ',')};
        const auto receiver = fieldrelaybox::parse_endpoint(item, highest_port);
        if (!receiver)
            add_item(receivers.skipped, ", ", item + ": no address:port");
        else if (is_input(*receiver))
            add_item(receivers.skipped, ", ", item + ": an input of the box");
        else
            add_item(receivers.usable, ",", item);
    }
    return receivers;
}

// What comes in at a loopback port, with the time of its arrival; a burst of 100 datagrams fits.
// With reuse=true another program at the port would go unnoticed, and take the datagrams.
std::string arriving_at(int port) {
    return "udpsrc address=127.0.0.1 port=" + std::to_string(port) +
           " reuse=false do-timestamp=true buffer-size=1000000";
}

// The picture. Whole access units, or parameter sets would come before each slice of a key frame,
// which spoils it.
Words picture_from(int port) {
    return words_of(
        arriving_at(port) +
        " ! h264units ! h264parse config-interval=-1 ! video/x-h264,alignment=au ! queue ! mux.");
}

// The sound, over live silence: a muxer puts out nothing until each of its inputs got something,
// and streaming sites insist on a sound track. What waits for pictures that do not come is dropped,
// or it would be late for ever.
Words sound_from(int port) {
    const std::string raw = " ! audio/x-raw,format=S16LE,rate=48000,channels=2 ! ";
    return words_of("audiotestsrc is-live=true wave=silence samplesperbuffer=480" + raw +
                    "audiomixer name=mix latency=30000000 alignment-threshold=20000000" + raw +
                    "voaacenc bitrate=96000 ! aacparse ! queue leaky=downstream "
                    "max-size-time=500000000 ! mux. " +
                    arriving_at(port) +
                    " caps=audio/mpeg,mpegversion=4,stream-format=adts ! aacparse ! avdec_aac ! "
                    "audioconvert ! audioresample" +
                    raw + "queue ! mix.");
}

// MPEG-TS, the packets of a picture together, and a sink for it.
Words transport_stream(int packets_together, const std::string& sink) {
    constexpr int packet_size = 188;
    return words_of("mpegtsmux name=mux alignment=0 ! datagrams unit=188 max-size=" +
                    std::to_string(packets_together * packet_size) + " ! " + sink + " sync=false");
}

} // namespace

Plan plan_rtmp(const ConfigRecord& settings, const Surroundings& /*surroundings*/) {
    if (settings.rtmp_enabled == 0)
        return {};
    const std::string_view url = fieldrelaybox::text_of(settings.rtmp_url);
    if (!is_rtmp_address(url))
        return impossible("rtmp_url is no rtmp address like rtmp://HOST/APPLICATION/KEY");
    // TCP bridges a gap of the network, but for longer than 20 s it would wait too long between
    // its tries. The sink gives up a server that takes connections and says nothing.
    return launch(joined({words_of("flvmux name=mux streamable=true ! tcptimeout timeout=20000 ! "
                                   "rtmp2sink sync=false timeout=8 chunk-size=4096"),
                          {property("location", url)},
                          picture_from(3002),
                          sound_from(4002)}));
}

Plan plan_tcp(const ConfigRecord& settings, const Surroundings& /*surroundings*/) {
    if (settings.tcp_enabled == 0)
        return {};
    if (settings.tcp_port < 1 || settings.tcp_port > highest_port)
        return impossible("tcp_port is no port");
    // Some systems go without IPv6.
    const char* const all_addresses =
        std::filesystem::exists("/proc/net/if_inet6") ? "::" : "0.0.0.0";
    // A reader two megabytes behind is cut off, with little more in the system. Time would not do
    // as a measure: a gap counts in it.
    return launch(joined(
        {transport_stream(15,
                          "tcptimeout send-buffer=131072 ! tcpserversink sync-method=next-keyframe "
                          "unit-format=bytes units-max=2000000"),
         {std::string("host=") + all_addresses, "port=" + std::to_string(settings.tcp_port)},
         picture_from(3004),
         sound_from(4004)}));
}

Plan plan_mpegts(const ConfigRecord& settings, const Surroundings& /*surroundings*/) {
    if (settings.mpegts_enabled == 0)
        return {};
    const Receivers receivers = receivers_of(fieldrelaybox::text_of(settings.mpegts_clients));
    if (receivers.usable.empty())
        return impossible("mpegts_clients names no receiver" +
                          (receivers.skipped.empty() ? "" : " but " + receivers.skipped));
    Plan plan = launch(joined({transport_stream(7, "multiudpsink auto-multicast=false"),
                               {property("clients", receivers.usable)},
                               picture_from(3003),
                               sound_from(4003)}));
    if (!receivers.skipped.empty())
        plan.fault = "mpegts_clients leaves out " + receivers.skipped;
    return plan;
}

Plan plan_rtsp(const ConfigRecord& settings, const Surroundings& surroundings) {
    if (settings.rtsp_enabled == 0)
        return {};
    return {.command = Command{surroundings.folder + "/rtsp-server", {}}, .fault = ""};
}

} // namespace stream
