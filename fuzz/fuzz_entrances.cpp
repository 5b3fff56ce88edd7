// One fuzz target for all entrances: the first byte of the input chooses the entrance and the
// sender's port, the rest is what arrives there. run.sh feeds it.
#include "apps/app_clients.h"
#include "apps/app_request.h"
#include "apps/messages.h"
#include "apps/server_link.h"
#include "camera/link/camera_link.h"
#include "camera/state/camera_state.h"
#include "camera/state/telemetry_receiver.h"
#include "config/boot_partition.h"
#include "config/channel_functions.h"
#include "config/config_file.h"
#include "config/config_record.h"
#include "config/config_saving.h"
#include "config/config_start.h"
#include "control/app_commands.h"
#include "control/command_polling.h"
#include "control/command_queue.h"
#include "control/control_server.h"
#include "control/server_client.h"
#include "control/wifi.h"
#include "core/clock.h"
#include "core/sockets.h"
#include "core/status_block.h"
#include "core/threads.h"
#include "daemon/supervisor.h"
#include "fuzz/stand_ins.h"
#include "media/udp_clients.h"
#include "rc/rc_commands.h"
#include "rc/rc_loop.h"
#include "rc/rc_step.h"
#include "rcin/crsf.h"
#include "rcin/edge_file.h"
#include "rcin/ibus.h"
#include "rcin/ppm.h"
#include "rcin/pwm.h"
#include "rcin/sbus.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using namespace fieldrelaybox;

constexpr std::size_t longest_command = 255;
constexpr std::uint32_t server_address = 0xC0000201; // the default of the settings, 192.0.2.1

std::string settings_path;
std::string saved_path;
std::string run_path;

struct SerialSpeech {
    const rcin::SerialProtocol* protocol;
    Bytes frame; // all channels in the middle
};

constexpr std::array<std::uint8_t, 25> sbus_middle{
    0x0F, 0xE0, 0x03, 0x1F, 0xF8, 0xC0, 0x07, 0x3E, 0xF0, 0x81, 0x0F, 0x7C, 0xE0,
    0x03, 0x1F, 0xF8, 0xC0, 0x07, 0x3E, 0xF0, 0x81, 0x0F, 0x7C, 0x00, 0x00};
constexpr std::array<std::uint8_t, 26> crsf_middle{
    0xC8, 0x18, 0x16, 0xE0, 0x03, 0x1F, 0xF8, 0xC0, 0x07, 0x3E, 0xF0, 0x81, 0x0F,
    0x7C, 0xE0, 0x03, 0x1F, 0xF8, 0xC0, 0x07, 0x3E, 0xF0, 0x81, 0x0F, 0x7C, 0xAD};
constexpr std::array<std::uint8_t, 32> ibus_middle{
    0x20, 0x40, 0xDC, 0x05, 0xDC, 0x05, 0xDC, 0x05, 0xDC, 0x05, 0xDC, 0x05, 0xDC, 0x05, 0xDC, 0x05,
    0xDC, 0x05, 0xDC, 0x05, 0xDC, 0x05, 0xDC, 0x05, 0xDC, 0x05, 0xDC, 0x05, 0xDC, 0x05, 0x51, 0xF3};

constexpr std::size_t sbus_channels_size = 22;

const std::array<SerialSpeech, 3> serial_speeches{{{&rcin::sbus_protocol, sbus_middle},
                                                   {&rcin::crsf_protocol, crsf_middle},
                                                   {&rcin::ibus_protocol, ibus_middle}}};

std::string text_of(Bytes bytes) {
    return {bytes.begin(), bytes.end()};
}

void load_settings(Bytes bytes, std::uint16_t /*port*/) {
    const std::string text = text_of(bytes);
    std::ofstream(settings_path) << text;
    if (load_config_file(settings_path.c_str(), config_record()))
        set_defaults_after_loading(config_record());
    format_config_file(config_record());
    parse_channel_map(load_text(config_record().rc_input_map));
    parse_udp_clients(load_text(config_record().udp_clients));
    constexpr std::string_view report = R"({"cmd":"configrequest"})";
    dispatch_app_command(report.data(), report.size());
    Supervisor supervisor;
    run_supervisor_pass(supervisor);
}

// The one word that is left to the tests: it ends the process.
bool is_tame(const std::string& text) {
    const auto request = parse_app_request(text.c_str(), text.size(), {});
    return !request || request->command != "restart";
}

// In this thread, while in the daemon each command has a worker.
void run_command(Bytes bytes, std::uint16_t /*port*/) {
    std::string text = text_of(bytes);
    text.resize(std::min({text.size(), text.find('\0'), longest_command}));
    if (!is_tame(text))
        return;
    dispatch_app_command(text.c_str(), text.size());
}

bool has_command(Bytes datagram) {
    return datagram.size() > message_header_size && datagram[0] == 'B' &&
           datagram[message_header_size] == '{';
}

void receive_control(Bytes bytes, std::uint16_t port) {
    if (has_command(bytes))
        run_command(bytes.subspan(message_header_size), port);
    else
        handle_app_datagram(bytes, ipv4_address(loopback_address, port));
    perform_queued_commands();
}

void receive_from_camera(Bytes bytes, std::uint16_t port) {
    handle_camera_datagram(bytes, ipv4_address(loopback_address, port), timer_clock());
}

// From strangers, too: those of odd ports.
void receive_from_server(Bytes bytes, std::uint16_t port) {
    if (port % 2 == 0)
        port = static_cast<std::uint16_t>(load(config_record().server_port));
    if (has_command(bytes))
        run_command(bytes.subspan(message_header_size), port);
    else if (!bytes.empty())
        handle_server_datagram(bytes, ipv4_address(server_address, port));
    server_keepalive();
}

void read_tool_output(Bytes bytes, std::uint16_t /*port*/) {
    tool_output = text_of(bytes);
    scan_networks("wlan0", 1000);
    station_ssid("wlan0");
    store_text(config_record().camera_iface, "wlan0");
    Supervisor supervisor;
    run_supervisor_pass(supervisor);
    tool_output.clear();
}

void read_command_field(Bytes bytes, std::uint16_t /*port*/) {
    auto& field = status_block().command_field;
    std::copy_n(bytes.begin(), std::min(bytes.size(), sizeof field), std::begin(field));
    if (is_tame(std::string(field, strnlen(field, sizeof field))))
        serve_command_field();
}

// Four functions, some switches, then steps: four channel values and the receiver's state.
void run_rc(Bytes bytes, std::uint16_t /*port*/) {
    constexpr std::size_t channels = 4;
    constexpr std::size_t step_size = channels + 1;
    constexpr std::uint8_t good_values = 6;
    if (bytes.size() < step_size)
        return;
    StatusBlock& block = status_block();
    std::fill(std::begin(block.channel_function), std::end(block.channel_function), 255);
    std::copy_n(bytes.begin(), channels, std::begin(block.channel_function));
    config_record().rc_input_enabled = 1;
    config_record().rc_input_exp = bytes[channels] & 1;
    camera_state().autofocus = (bytes[channels] & 2) != 0;
    camera_builder_state().app_gimbal_idle = (bytes[channels] & 4) != 0 ? 0 : 1;
    RcState state;
    for (Bytes rest = bytes.subspan(step_size); rest.size() >= step_size;
         rest = rest.subspan(step_size)) {
        for (std::size_t i = 0; i < channels; ++i)
            block.rc_channels[i] = static_cast<std::uint16_t>(rest[i] == 0 ? 0 : 900 + 5 * rest[i]);
        block.rc_receiver_state = rest[channels] == 0 ? good_values : rest[channels];
        std::vector<RcCommand> commands;
        rc_step(read_rc_inputs(timer_clock()), state, commands);
        perform_rc_commands(commands);
        sleep_us(100'000);
    }
}

struct SerialLine {
    rcin::FrameCollector collector;
    std::int64_t now_us = 0;
    int frames = 0;
    rcin::TakeFrame take = [this](const rcin::Frame&) { ++frames; };
};

void hear(SerialLine& line, Bytes bytes) {
    for (const std::uint8_t byte : bytes)
        take_byte(line.collector, byte, line.now_us, line.take);
}

void pause(SerialLine& line, std::int64_t microseconds) {
    line.now_us += microseconds;
    take_nothing(line.collector, line.now_us, line.take);
}

// Bursts with pauses between, as long as their first two bytes say.
void hear_bursts(SerialLine& line, Bytes bytes) {
    while (bytes.size() > 2) {
        const std::size_t size = std::min<std::size_t>(bytes[0], bytes.size() - 2);
        const std::int64_t pause_us = bytes[1] * std::int64_t{20};
        hear(line, bytes.subspan(2, size));
        bytes = bytes.subspan(2 + size);
        if (!bytes.empty())
            pause(line, pause_us);
    }
}

// Whatever was before, the second of two frames is heard, with pauses and without. Any bytes are
// channels for SBUS where there are pauses: the first ones.
void hear_serial(Bytes bytes, std::uint16_t port) {
    const SerialSpeech& speech = serial_speeches[port % serial_speeches.size()];
    const bool pauses = port / serial_speeches.size() % 2 == 0;
    std::vector<std::uint8_t> frame(speech.frame.begin(), speech.frame.end());
    if (speech.protocol == &rcin::sbus_protocol && pauses && bytes.size() > sbus_channels_size) {
        std::copy_n(bytes.begin(), sbus_channels_size, frame.begin() + 1);
        bytes = bytes.subspan(sbus_channels_size);
    }
    SerialLine line{.collector = {.protocol = *speech.protocol, .bytes = {}}};
    hear_bursts(line, bytes);
    for (int i = 0; i < 2; ++i) {
        line.frames = 0;
        hear(line, frame);
        if (pauses)
            pause(line, rcin::line_silence_us);
    }
    if (line.frames == 0 || !line.collector.in_step)
        std::abort();
}

void check_channels(const std::optional<rcin::Frame>& frame) {
    if (!frame)
        return;
    for (const std::uint16_t width_us : frame->channels_us)
        if (width_us != rcin::absent && !rcin::is_channel_width(width_us))
            std::abort();
}

// A recording, played as the one receiver and as the other.
void play_recording(Bytes bytes, std::uint16_t /*port*/) {
    std::ofstream(settings_path) << text_of(bytes);
    rcin::PpmDecoder ppm;
    rcin::PwmDecoder pwm{};
    rcin::EdgePlayer player{rcin::read_edge_file(settings_path, rcin::most_pwm_lines).edges, 0, {}};
    rcin::play_edges(player, 0, [&](const rcin::Edge& edge) {
        check_channels(decode_ppm(ppm, edge));
        check_channels(decode_pwm(pwm, edge));
    });
    for (const rcin::Edge& edge : player.edges) {
        check_channels(decode_ppm(ppm, edge));
        check_channels(decode_pwm(pwm, edge));
    }
}

using Entrance = void (*)(Bytes bytes, std::uint16_t port);

// make_corpus.py knows the order.
constexpr std::array<Entrance, 10> entrances{
    load_settings,    receive_control,    run_command, receive_from_camera, receive_from_server,
    read_tool_output, read_command_field, run_rc,      hear_serial,         play_recording};

// A connected camera and one app; no socket is open, so nothing leaves the process.
void start_afresh() {
    sleep_us(2'000'000); // no limit on repeated records holds one back
    config_record() = ConfigRecord{};
    set_defaults_before_loading(config_record());
    set_defaults_after_loading(config_record());
    config_record().server_enabled = 1;
    for (auto* percent : {&config_record().rc_input_speed_pan, &config_record().rc_input_speed_tilt,
                          &config_record().roll_speed})
        *percent = 100;
    server_settings_changed();
    status_block() = StatusBlock{};
    std::construct_at(&camera_state());
    std::construct_at(&camera_builder_state());
    camera_state().focus_range = 1000;
    camera_link().connected = true;
    clear_app_clients();
    add_app_client(endpoint_of(ipv4_address(loopback_address, 1)), false, timer_clock());
    parse_udp_clients("");
}

void use_private_directory() {
    static std::string directory = std::filesystem::temp_directory_path() / "fuzz.XXXXXX";
    if (mkdtemp(directory.data()) == nullptr)
        std::abort();
    std::atexit([] { std::filesystem::remove_all(directory); });
    settings_path = directory + "/settings.conf";
    saved_path = directory + "/saved.conf";
    config_file_path = saved_path.c_str();
    run_path = directory + "/run.conf";
    run_copy_path = run_path.c_str();
}

} // namespace

// The fuzzer's own names.
// NOLINTBEGIN(readability-identifier-naming)
extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    use_private_directory();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    start_afresh();
    const auto port = static_cast<std::uint16_t>(4240 + data[0] / entrances.size());
    entrances[data[0] % entrances.size()](Bytes(data + 1, size - 1), port);
    while (running_threads > 0) // what outlasts this input would meddle with the next
        std::this_thread::yield();
    return 0;
}
// NOLINTEND(readability-identifier-naming)
