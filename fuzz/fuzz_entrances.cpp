// One fuzz target for all entrances: the first byte of the input chooses the entrance, the rest is
// what arrives there. CONTRIBUTING.md tells how to run it.
#include "camera/commands/camera_commands.h"
#include "camera/state/telemetry_receiver.h"
#include "config/channel_functions.h"
#include "config/config_file.h"
#include "config/config_record.h"
#include "control/app_commands.h"
#include "control/control_server.h"
#include "core/sockets.h"
#include "media/udp_clients.h"

#include <cstdio>
#include <string>
#include <unistd.h>

namespace {

using namespace fieldrelaybox;

constexpr const char* settings_path = "/tmp/fuzz_entrances.conf";

void load_settings(const std::string& text) {
    if (std::FILE* file = std::fopen(settings_path, "w")) {
        std::fwrite(text.data(), 1, text.size(), file);
        std::fclose(file);
    }
    ConfigRecord record{};
    load_config_file(settings_path, record);
    format_config_file(record);
    parse_channel_map(text);
    parse_udp_clients(text);
}

// Words that end the process or wait for seconds are left to the tests.
bool is_tame(const std::string& text) {
    for (const char* word : {"restart", "playback", "hdmimode", "orientation", "disable"}) {
        if (text.find(word) != std::string::npos)
            return false;
    }
    return true;
}

void run_command(const std::string& text) {
    if (!is_tame(text))
        return;
    dispatch_app_command(text.c_str(), text.size());
    handle_camera_command(text.c_str(), text.size());
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    config_record().always_one = 1;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const Bytes bytes(data + 1, size - 1);
    const sockaddr_in sender = ipv4_address(loopback_address, static_cast<std::uint16_t>(data[0]));
    const std::string text(bytes.begin(), bytes.end());
    switch (data[0] % 4) {
    case 0:
        if (bytes.size() < 13 || bytes[12] != '{')
            handle_app_datagram(bytes, sender);
        break;
    case 1:
        decode_camera_frame(bytes);
        break;
    case 2:
        load_settings(text);
        break;
    default:
        run_command(text);
        break;
    }
    return 0;
}
