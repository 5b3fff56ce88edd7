// What the camera sends: decoding against bytes written down independently of the code, what is
// posted to the apps, and the link.
#include "apps/app_clients.h"
#include "apps/messages.h"
#include "camera/link/camera_link.h"
#include "camera/state/camera_state.h"
#include "camera/state/data_watchdog.h"
#include "camera/state/telemetry_receiver.h"
#include "config/config_record.h"
#include "core/alarm.h"
#include "core/clock.h"
#include "core/lanes.h"
#include "core/status_block.h"
#include "core/threads.h"
#include "unit/shell_recorder.h"
#include "unit/test_data.h"

#include <cstring>
#include <map>

using namespace fieldrelaybox;
using namespace test_data;
using Texts = std::vector<std::string>;

namespace {

std::uint8_t& status_byte(const char* offset) {
    return reinterpret_cast<std::uint8_t*>(&status_block())[std::stoi(offset)];
}

// Some values are wider than a byte.
std::int64_t status_value(const std::string& offset) {
    const auto* at = &status_byte(offset.c_str());
    if (offset == "1648")
        return get_u32le(at);
    return offset == "1886" || offset == "1888" ? get_u16le(at) : *at;
}

void set_status(const cJSON* values) {
    for (const cJSON* value : items_of(values)) {
        if (std::string(value->string) == "1648")
            put_u32le(&status_byte("1648"), static_cast<std::uint32_t>(value->valuedouble));
        else
            status_byte(value->string) = static_cast<std::uint8_t>(value->valueint);
    }
}

void expect_status(const cJSON* values) {
    for (const cJSON* value : items_of(values))
        EXPECT_EQ(status_value(value->string), value->valuedouble) << value->string;
}

int state_value(const std::string& name) {
    const CameraState& state = camera_state();
    const ShotKind kind = state.shot_kind;
    const std::map<std::string, int> values{{"video_mode", state.video_mode},
                                            {"photo_mode", state.photo_mode},
                                            {"interval_shooting", state.interval_shooting},
                                            {"autofocus", state.autofocus},
                                            {"focus_range", state.focus_range},
                                            {"assistant_bits", state.assistant_bits},
                                            {"shot_mode", kind.mode},
                                            {"shot_type", kind.type}};
    return values.at(name);
}

void expect_values(const cJSON* item) {
    for (const cJSON* value : items_of(member(item, "state")))
        EXPECT_EQ(state_value(value->string), value->valueint) << value->string;
    expect_status(member(item, "status_block"));
}

// A box with an app, whose camera has sent its first datagram.
struct Telemetry : testing::Test {
    Telemetry() {
        config_record().always_one = 1;
        camera_link().socket = box.socket();
        camera_link().clock_sync = false;
        set_message_socket(box.socket());
        add_app_client(endpoint_of(app.address()), true, now);
        command_alarm.rung = false;
        receive("00");
        EXPECT_TRUE(command_alarm.rung);      // what waits for a camera is told at once
        await([] { return await_lanes(0); }); // forwarding is off
        take_posts();
    }

    void receive(const std::string& frame) {
        handle_camera_datagram(from_hex(frame), camera.address(), now);
    }
    // A second after what came before, so that every record is posted.
    void receive_next(const cJSON* item) {
        now += 1000;
        receive(text(item, "frame"));
    }

    // The payloads of the messages since the last call.
    Texts take_posts() const {
        Texts posts = app.take();
        for (std::string& post : posts)
            post.erase(0, 2 * message_header_size);
        return posts;
    }

    // The vector whose name is name.
    const cJSON* find_vector(const std::string& name) const {
        for (const cJSON* item : items_of(member(camera_data.get(), "vectors"))) {
            if (text(item, "name") == name)
                return item;
        }
        ADD_FAILURE() << name;
        return nullptr;
    }

    std::int64_t now = timer_clock();
    Receiver box;
    Receiver camera;
    Receiver app;
    const Json camera_data = load_json("camera_state.json");
};

TEST_F(Telemetry, attitude) {
    const Json data = load_json("telemetry.json");
    for (const cJSON* item : items_of(member(data.get(), "attitude"))) {
        SCOPED_TRACE(text(item, "note"));
        receive(text(item, "frame"));
        EXPECT_EQ(take_posts(), texts_of(member(item, "posts")));
        expect_status(member(item, "bytes"));
        for (const cJSON* degrees : items_of(member(item, "texts")))
            EXPECT_STREQ(reinterpret_cast<const char*>(&status_byte(degrees->string)),
                         degrees->valuestring);
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

TEST_F(Telemetry, short_frames_and_frames_that_change_nothing) {
    camera.take();
    const Json data = load_json("telemetry.json");
    for (const cJSON* item : items_of(member(data.get(), "other"))) {
        SCOPED_TRACE(text(item, "note"));
        set_status(member(item, "before"));
        receive(text(item, "frame"));
        expect_status(member(item, "after"));
        EXPECT_EQ(take_posts(), texts_of(member(item, "posts")));
        EXPECT_EQ(camera.take().size(), cJSON_GetArraySize(member(item, "camera_gets")));
    }
}

TEST_F(Telemetry, silence_of_more_than_3_s_ends_the_link) {
    receive_next(find_vector("state 50: video mode, recording"));
    take_posts();
    data_watchdog(now + 3000);
    EXPECT_TRUE(camera_connected());
    data_watchdog(now + 3001);
    EXPECT_FALSE(camera_connected());
    EXPECT_EQ(take_posts(), (Texts{"05000200000000", "05000000000000"}));
    // Media has its own watchdog for this flag.
    EXPECT_EQ(config_record().video_connected, 1);
    EXPECT_EQ(status_block().recording + status_block().recording_time, 0);
    EXPECT_EQ(status_block().card_size, 61'056U); // as last reported
    EXPECT_FALSE(camera_state().video_mode);
}

TEST_F(Telemetry, long_frames_become_state_status_and_records) {
    for (const cJSON* item : items_of(member(camera_data.get(), "vectors"))) {
        SCOPED_TRACE(text(item, "name"));
        set_status(member(item, "before"));
        receive_next(item);
        EXPECT_EQ(take_posts(), texts_of(member(item, "posts")));
        expect_values(item);
    }
}

TEST_F(Telemetry, values_follow_the_long_frames) {
    shell_recorder::take_commands();
    const int before = running_threads;
    for (const cJSON* sequence : items_of(member(camera_data.get(), "sequences"))) {
        SCOPED_TRACE(text(sequence, "note"));
        for (const cJSON* step : items_of(member(sequence, "steps"))) {
            testing::internal::CaptureStderr();
            receive_next(step);
            expect_values(step);
            const std::string log = testing::internal::GetCapturedStderr();
            await([before] { return running_threads == before; }); // the lane has run it
            const Texts commands = shell_recorder::take_commands();
            const cJSON* changes = member(step, "format_changes");
            if (cJSON_IsNumber(changes) == 0)
                continue;
            EXPECT_EQ(log, changes->valueint == 0 ? "" : "video format changed\n");
            EXPECT_EQ(commands,
                      Texts(static_cast<std::size_t>(changes->valueint), "killall -q display"));
        }
    }
}

TEST_F(Telemetry, other_frames_of_such_lengths_change_nothing) {
    const StatusBlock before = status_block();
    const ShotKind kind = camera_state().shot_kind;
    for (const cJSON* item : items_of(member(camera_data.get(), "change_nothing"))) {
        SCOPED_TRACE(text(item, "note"));
        receive_next(item);
        EXPECT_TRUE(take_posts().empty());
        EXPECT_EQ(std::memcmp(&before, &status_block(), sizeof before), 0);
        EXPECT_EQ(camera_state().shot_kind.load().type, kind.type);
        EXPECT_FALSE(camera_state().video_mode);
    }
}

TEST_F(Telemetry, records_are_posted_ten_times_a_second_per_kind) {
    const cJSON* lens = find_vector("lens 59: distance infinite: far");
    receive_next(lens);
    receive(text(find_vector("state 49: photo mode, idle, card fine"), "frame"));
    EXPECT_EQ(take_posts().size(), 4U);
    // How many posts the lens frame gets when it comes so many ms after the last time.
    const auto posts_after = [&](int ms) {
        now += static_cast<std::uint32_t>(ms);
        receive(text(lens, "frame"));
        return take_posts().size();
    };
    std::size_t posts = 0;
    for (int i = 0; i < 100; ++i) // a second of frames
        posts += posts_after(10);
    EXPECT_EQ(posts, 30U);
    EXPECT_EQ(status_block().focus_distance, 65535);
    EXPECT_EQ(posts_after(10), 0U);    // the eleventh within a second
    EXPECT_EQ(posts_after(-5000), 3U); // the clock was set back
    posts = 0;
    for (const int ms : {15000, 110, 80, 125, 65, 140, 65, 120}) // ten a second, but unsteady
        posts += posts_after(ms);
    EXPECT_EQ(posts, 3U * 8);
}

} // namespace
