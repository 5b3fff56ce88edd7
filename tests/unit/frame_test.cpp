// Frames and their stamping against bytes computed independently of the code.
#include "camera/camera_link.h"
#include "camera/frame.h"
#include "unit/test_data.h"

using namespace fieldrelaybox;
using namespace test_data;

namespace {

struct FrameTest : testing::Test {
    FrameTest() {
        camera_link().socket = sender.socket();
        set_camera_address(camera.address());
    }

    // Advances the shared counter until the next frame gets sequence.
    void advance_counter_to(int sequence) const {
        ByteVector filler(14);
        do
            send_camera_frame(filler);
        while (static_cast<std::uint8_t>(filler[6] + 1) != sequence);
        camera.take();
    }

    Receiver sender;
    Receiver camera;
};

TEST_F(FrameTest, stamps_sequence_and_check_at_every_length) {
    const Json data = load_json("camera_frames.json");
    for (const char* list : {"frames", "short"}) {
        const cJSON* item = nullptr;
        cJSON_ArrayForEach(item, member(data.get(), list)) {
            const bool whole = member(item, "frame") != nullptr;
            ByteVector frame = from_hex(text(item, whole ? "before_stamping" : "in"));
            advance_counter_to(number(item, "seq"));
            send_camera_frame(frame);
            EXPECT_EQ(camera.take(), std::vector{text(item, whole ? "frame" : "out")});
        }
    }
}

TEST_F(FrameTest, counter_wraps_and_is_kept_for_frames_that_are_not_sent) {
    const Json data = load_json("camera_frames.json");
    advance_counter_to(254);
    const cJSON* expected = nullptr;
    cJSON_ArrayForEach(expected, member(member(data.get(), "wrap"), "frames")) {
        auto frame = make_frame_of({0x01, 0x02, 0x2A}, 0x05);
        camera_link().connected = false;
        EXPECT_FALSE(send_camera_frame_if_connected(frame));
        camera_link().connected = true;
        EXPECT_TRUE(send_camera_frame_if_connected(frame));
        EXPECT_EQ(camera.take(), std::vector<std::string>{expected->valuestring});
    }
}

TEST(FrameChecks, header_check_of_every_length) {
    const Json data = load_json("camera_frames.json");
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, member(data.get(), "header_checks")) {
        const std::array<std::uint8_t, 3> header{
            0x55, static_cast<std::uint8_t>(std::stoi(item->string)), 0x04};
        EXPECT_EQ(header_check(header), item->valueint) << item->string;
    }
}

} // namespace
