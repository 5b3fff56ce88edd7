// A camera and an app around the telemetry receiver: what is received, posted and sent.
#pragma once

#include "camera/camera_link.h"
#include "camera/telemetry_receiver.h"
#include "config/config_record.h"
#include "control/app_clients.h"
#include "control/messages.h"
#include "core/status_block.h"
#include "unit/test_data.h"

#include <cstring>

namespace telemetry_fixture {

using namespace fieldrelaybox;
using namespace test_data;

// As today: above 2^31, so that a zero stamp would look like the far future.
inline constexpr std::uint32_t now = 3'900'000'000;

inline std::uint8_t& status_byte(int offset) {
    return reinterpret_cast<std::uint8_t*>(&status_block())[offset];
}

struct TelemetryTest : testing::Test {
    TelemetryTest() {
        config_record().always_one = 1;
        camera_link().socket = own_socket.socket();
        camera_link().clock_sync = false;
        set_message_socket(own_socket.socket());
        add_app_client(endpoint_of(app.address()), true, now);
    }

    void receive(const std::string& frame, std::uint32_t when = now) {
        handle_camera_datagram(from_hex(frame), camera.address(), when);
    }

    // The payloads of the messages since the last call.
    std::vector<std::string> take_posts() const {
        std::vector<std::string> posts = app.take();
        for (std::string& post : posts)
            post.erase(0, 2 * message_header_size);
        return posts;
    }

    Receiver own_socket;
    Receiver camera;
    Receiver app;
};

inline std::vector<std::string> texts_of(const cJSON* list) {
    std::vector<std::string> texts;
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, list) texts.emplace_back(item->valuestring);
    return texts;
}

} // namespace telemetry_fixture
