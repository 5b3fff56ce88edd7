#include "media/relay.h"

#include "apps/app_clients.h"
#include "apps/messages.h"
#include "config/config_record.h"
#include "core/clock.h"
#include "core/log.h"
#include "core/sockets.h"
#include "core/statistics.h"
#include "media/udp_clients.h"

#include <array>
#include <atomic>
#include <sys/socket.h>

namespace fieldrelaybox {

namespace {

constexpr std::int64_t pause_between_clients_us = 5;

// Of each UDP client's socket: a second of video.
constexpr int udp_client_buffer_bytes = 1'000'000;

// A socket towards one fixed loopback port.
struct Output {
    std::uint16_t port;
    OutputCount Statistics::*count; // null: nothing is sent
    int socket = -1;
    sockaddr_in address{};
    SegmentRefusal refusal{};
};

struct EncoderOutput {
    std::uint8_t ConfigRecord::*enabled;
    Output output;
};

Output transcoder_output{3000, &Statistics::transcoder_out};
Output player_output{6000, &Statistics::player_out};
Output spare_output{30000, nullptr}; // opened for a further local consumer; nothing is sent to it

// In the order of sending: RTMP, MPEG-TS, TCP MPEG-TS, RTSP.
std::array<EncoderOutput, 4> video_outputs{
    {{&ConfigRecord::rtmp_enabled, {3002, &Statistics::rtmp_video_out}},
     {&ConfigRecord::mpegts_enabled, {3003, &Statistics::mpegts_video_out}},
     {&ConfigRecord::tcp_enabled, {3004, &Statistics::tcp_video_out}},
     {&ConfigRecord::rtsp_enabled, {3005, &Statistics::rtsp_video_out}}}};

// RTSP has no audio.
std::array<EncoderOutput, 3> audio_outputs{
    {{&ConfigRecord::rtmp_enabled, {4002, &Statistics::rtmp_audio_out}},
     {&ConfigRecord::mpegts_enabled, {4003, &Statistics::mpegts_audio_out}},
     {&ConfigRecord::tcp_enabled, {4004, &Statistics::tcp_audio_out}}}};

std::atomic<bool> local_video{false};

// By the client's place, a socket each: what waits for one that is slow or absent takes the room of
// no other.
using UdpClientSockets = std::array<int, udp_client_capacity>;
UdpClientSockets udp_video_sockets{};
UdpClientSockets udp_audio_sockets{};

void open_output(Output& output) {
    output.socket = open_udp_socket();
    output.address = ipv4_address(loopback_address, output.port);
}

void open_udp_client_sockets(UdpClientSockets& sockets) {
    for (int& socket : sockets) {
        socket = open_udp_socket();
        set_socket_buffers(socket, 0, udp_client_buffer_bytes);
    }
}

// Never waits: datagrams for hosts that are not there fill the socket's buffer for seconds, and
// everyone else would wait with them.
void send_datagram(int socket, Bytes datagram, const sockaddr_in& address, OutputCount& counts) {
    count_sent(counts, sendto(socket, datagram.data(), datagram.size(), MSG_DONTWAIT,
                              reinterpret_cast<const sockaddr*>(&address), sizeof address));
}

void send_to(const Output& output, Bytes datagram) {
    send_datagram(output.socket, datagram, output.address, statistics().*output.count);
}

void send_to_udp_clients(Bytes datagram, const UdpClientSockets& sockets,
                         sockaddr_in UdpClients::Entry::*address) {
    if (load(config_record().udp_enabled) == 0)
        return;
    const UdpClients& clients = udp_clients();
    for (std::size_t i = 0; i < clients.count; ++i) {
        send_datagram(sockets[i], datagram, clients.entries[i].*address,
                      statistics().udp_clients[i].sent);
        spin_us(pause_between_clients_us);
    }
}

void send_to_encoders(Bytes datagram, std::span<const EncoderOutput> encoders) {
    const ConfigRecord& record = config_record();
    for (const EncoderOutput& encoder : encoders) {
        if (load(record.*encoder.enabled) != 0)
            send_to(encoder.output, datagram);
    }
}

bool has_udp_clients() {
    return load(config_record().udp_enabled) != 0 && udp_clients().count > 0;
}

void send_run_to(Output& output, Datagrams run) {
    if (!refuses_segments(output.refusal)) {
        if (const std::size_t sent = send_segments(output.socket, run, output.address); sent > 0)
            return count_sent(statistics().*output.count, run.size(), sent);
        note_refusal(output.refusal);
    }
    for (const iovec& datagram : run)
        send_to(output, bytes_of(datagram));
}

void send_run_to_encoders(Datagrams run) {
    for (EncoderOutput& encoder : video_outputs) {
        if (load(config_record().*encoder.enabled) != 0)
            send_run_to(encoder.output, run);
    }
}

// one: a run of one.
void relay_one(Datagrams one) {
    const Bytes datagram = bytes_of(one.front());
    post_run(one, MessageKind::video);
    send_to_udp_clients(datagram, udp_video_sockets, &UdpClients::Entry::video);
    send_to_encoders(datagram, video_outputs);
}

} // namespace

void init_video_bridge() {
    log_line("Init video bridge");
    clear_app_clients();
    parse_udp_clients(load_text(config_record().udp_clients));
    for (Output* output : {&transcoder_output, &player_output, &spare_output})
        open_output(*output);
    for (EncoderOutput& encoder : video_outputs)
        open_output(encoder.output);
    for (EncoderOutput& encoder : audio_outputs)
        open_output(encoder.output);
    open_udp_client_sockets(udp_video_sockets);
    open_udp_client_sockets(udp_audio_sockets);
}

std::size_t relay_video(Datagrams rest) {
    const bool transcodes = load(config_record().video_transcode_enabled) != 0;
    const bool plays = local_video.load(std::memory_order_relaxed);
    if (!transcodes && !plays)
        return relay_transcoded_video(rest);
    const Datagrams one = rest.first(1);
    if (transcodes)
        send_to(transcoder_output, bytes_of(one.front()));
    else
        relay_one(one);
    if (plays)
        send_to(player_output, bytes_of(one.front()));
    return 1;
}

// The pause after each datagram to a UDP client holds up what follows, so that must be no run.
std::size_t relay_transcoded_video(Datagrams rest) {
    const Datagrams run = has_udp_clients() ? rest.first(1) : first_run(rest);
    if (run.size() == 1) {
        relay_one(run);
    } else {
        send_run_to_encoders(run); // first, as an app may need a message for each datagram
        post_run(run, MessageKind::video);
    }
    return run.size();
}

void relay_audio(Bytes datagram) {
    post_message(datagram, MessageKind::audio);
    send_to_udp_clients(datagram, udp_audio_sockets, &UdpClients::Entry::audio);
    send_to_encoders(datagram, audio_outputs);
}

void set_local_video(bool on) {
    local_video.store(on, std::memory_order_relaxed);
}

} // namespace fieldrelaybox
