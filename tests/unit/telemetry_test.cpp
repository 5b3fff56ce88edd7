// What the camera sends: decoding against values computed independently of the code, and the link.
#include "camera/data_watchdog.h"
#include "unit/shell_recorder.h"
#include "unit/telemetry_fixture.h"

#include <cstring>

using namespace fieldrelaybox;
using namespace telemetry_fixture;
using namespace test_data;

namespace {

using Commands = std::vector<std::string>;

constexpr const char* forwarding_on = "echo 1 > /proc/sys/net/ipv4/ip_forward";
constexpr const char* forwarding_off = "echo 0 > /proc/sys/net/ipv4/ip_forward";

void set_bytes(const cJSON* bytes) {
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, bytes) {
        const std::string offset = item->string;
        if (offset == "1648")
            status_block().camera_value_1648 = static_cast<std::uint32_t>(item->valuedouble);
        else
            status_byte(std::stoi(offset)) = static_cast<std::uint8_t>(item->valueint);
    }
}

void expect_bytes(const cJSON* bytes, const std::string& note) {
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, bytes) {
        const std::string offset = item->string;
        if (offset == "1648")
            EXPECT_EQ(status_block().camera_value_1648, item->valuedouble) << note;
        else
            EXPECT_EQ(status_byte(std::stoi(offset)), item->valueint) << note << offset;
    }
}

TEST_F(TelemetryTest, attitude) {
    receive("00");
    take_posts();
    const Json data = load_json("telemetry.json");
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, member(data.get(), "attitude")) {
        const std::string note = text(item, "note");
        receive(text(item, "frame"));
        EXPECT_EQ(take_posts(), texts_of(member(item, "posts"))) << note;
        expect_bytes(member(item, "bytes"), note);
        const cJSON* degrees = nullptr;
        cJSON_ArrayForEach(degrees, member(item, "texts")) EXPECT_STREQ(
            reinterpret_cast<const char*>(&status_byte(std::stoi(degrees->string))),
            degrees->valuestring)
            << note;
        const StatusBlock& block = status_block();
        for (const auto& [name, angle] : {std::pair{"A", &block.attitude_a},
                                          {"B", &block.attitude_b},
                                          {"C", &block.attitude_c}}) {
            const cJSON* expected = member(member(item, "doubles"), name);
            EXPECT_NEAR(angle->radians, cJSON_GetArrayItem(expected, 0)->valuedouble, 1e-12);
            EXPECT_NEAR(angle->sine, cJSON_GetArrayItem(expected, 1)->valuedouble, 1e-12);
            EXPECT_NEAR(angle->cosine, cJSON_GetArrayItem(expected, 2)->valuedouble, 1e-12);
        }
    }
}

TEST_F(TelemetryTest, short_frames_and_frames_that_change_nothing) {
    receive("00");
    camera.take();
    take_posts();
    const Json data = load_json("telemetry.json");
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, member(data.get(), "other")) {
        const std::string note = text(item, "note");
        set_bytes(member(item, "before"));
        receive(text(item, "frame"));
        expect_bytes(member(item, "after"), note);
        EXPECT_EQ(take_posts(), texts_of(member(item, "posts"))) << note;
        EXPECT_EQ(camera.take().size(), cJSON_GetArraySize(member(item, "camera_gets"))) << note;
    }
}

TEST_F(TelemetryTest, first_contact_counts_as_a_source_change_and_silence_ends_the_link) {
    testing::internal::CaptureStderr();
    data_watchdog(now);
    EXPECT_TRUE(shell_recorder::take_commands().empty());

    receive("00");
    EXPECT_EQ(shell_recorder::take_commands(), (Commands{forwarding_on, forwarding_off}));
    EXPECT_TRUE(camera_connected());
    EXPECT_EQ(config_record().video_connected, 1);
    EXPECT_EQ(status_block().focus_point_x, 0.5);

    take_posts();
    data_watchdog(now + 3000);
    EXPECT_TRUE(camera_connected());
    data_watchdog(now + 3001);
    EXPECT_FALSE(camera_connected());
    EXPECT_EQ(shell_recorder::take_commands(), Commands{forwarding_on});
    EXPECT_STREQ(status_block().telemetry_status, "telemetry disconnected");
    EXPECT_EQ(take_posts(), (std::vector<std::string>{"05000200000000", "05000000000000"}));
    // Media has its own watchdog for this flag.
    EXPECT_EQ(config_record().video_connected, 1);

    receive("00", now + 9000);
    EXPECT_EQ(shell_recorder::take_commands(), Commands{forwarding_off});
    data_watchdog(now + 9001);
    EXPECT_STREQ(status_block().telemetry_status, "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "data disconnected\ndata disconnected\n");
}

TEST_F(TelemetryTest, another_source_port_reconnects_and_clears_the_flags) {
    receive("00");
    status_byte(1881) = 1;
    status_byte(1882) = 1;
    shell_recorder::take_commands();
    const Receiver elsewhere;
    handle_camera_datagram(from_hex("00"), elsewhere.address(), now);
    EXPECT_EQ(shell_recorder::take_commands(), (Commands{forwarding_on, forwarding_off}));
    EXPECT_EQ(status_byte(1881) + status_byte(1882), 0);
    EXPECT_EQ(status_byte(133), 1);
    std::array<std::uint8_t, 14> frame{};
    send_camera_frame_if_connected(frame);
    EXPECT_EQ(elsewhere.take().size(), 1U);
}

} // namespace
