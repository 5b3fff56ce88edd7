// The camera's long frames: decoding against bytes written down independently of the code.
#include "camera/camera_state.h"
#include "unit/shell_recorder.h"
#include "unit/telemetry_fixture.h"

#include <algorithm>

using namespace telemetry_fixture;

namespace {

struct CameraStateTest : TelemetryTest {
    CameraStateTest() {
        receive("00");
        take_posts();
        shell_recorder::take_commands();
    }

    // Each frame a second after the one before, so that every record is posted.
    void receive_next(const cJSON* item) {
        clock += 1000;
        receive(text(item, "frame"), clock);
    }

    static inline std::uint32_t clock = now; // runs on, as the receiver's limits do
    Json data = load_json("camera_state.json");
};

int state_value(const std::string& name) {
    const CameraState& state = camera_state();
    if (name == "video_mode")
        return state.video_mode;
    if (name == "photo_mode")
        return state.photo_mode;
    if (name == "interval_shooting")
        return state.interval_shooting;
    if (name == "autofocus")
        return state.autofocus;
    if (name == "focus_range")
        return state.focus_range;
    if (name == "assistant_bits")
        return state.assistant_bits;
    const ShotKind kind = state.shot_kind;
    return name == "shot_mode" ? kind.mode : name == "shot_type" ? kind.type : -1;
}

int status_value(const std::string& offset) {
    const auto* at = &status_byte(std::stoi(offset));
    return offset == "1886" || offset == "1888" ? get_u16le(at) : *at;
}

void expect_values(const cJSON* item, const std::string& note) {
    const cJSON* value = nullptr;
    cJSON_ArrayForEach(value, member(item, "state"))
            EXPECT_EQ(state_value(value->string), value->valueint)
        << note << " " << value->string;
    cJSON_ArrayForEach(value, member(item, "status_block"))
            EXPECT_EQ(status_value(value->string), value->valueint)
        << note << " " << value->string;
}

// Posts of which one may stand for another of the same code.
void expect_posts(const std::vector<std::string>& posts, const cJSON* item,
                  const std::string& note) {
    const std::vector<std::string> expected = texts_of(member(item, "posts"));
    const std::vector<std::string> as_good = texts_of(member(item, "posts_also_ok"));
    ASSERT_EQ(posts.size(), expected.size()) << note;
    for (std::size_t i = 0; i < posts.size(); ++i) {
        const bool as_good_as =
            std::find(as_good.begin(), as_good.end(), posts[i]) != as_good.end();
        EXPECT_TRUE(as_good_as || posts[i] == expected[i])
            << note << ": " << posts[i] << " instead of " << expected[i];
    }
}

TEST_F(CameraStateTest, frames_become_state_status_and_records) {
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, member(data.get(), "vectors")) {
        const std::string note = text(item, "name");
        const cJSON* before = nullptr;
        cJSON_ArrayForEach(before, member(item, "before")) status_byte(std::stoi(before->string)) =
            static_cast<std::uint8_t>(before->valueint);
        receive_next(item);
        expect_posts(take_posts(), item, note);
        expect_values(item, note);
    }
}

TEST_F(CameraStateTest, values_follow_the_frames) {
    const cJSON* sequence = nullptr;
    cJSON_ArrayForEach(sequence, member(data.get(), "sequences")) {
        const cJSON* step = nullptr;
        cJSON_ArrayForEach(step, member(sequence, "steps")) {
            testing::internal::CaptureStderr();
            receive_next(step);
            expect_values(step, text(sequence, "note"));
            const std::string log = testing::internal::GetCapturedStderr();
            const auto commands = shell_recorder::take_commands();
            const cJSON* changes = member(step, "format_changes");
            if (cJSON_IsNumber(changes) == 0)
                continue;
            EXPECT_EQ(log, changes->valueint == 0 ? "" : "video format changed\n");
            EXPECT_EQ(commands,
                      std::vector<std::string>(static_cast<std::size_t>(changes->valueint),
                                               "killall -q display &"));
        }
    }
}

TEST_F(CameraStateTest, other_frames_of_such_lengths_change_nothing) {
    const StatusBlock before = status_block();
    const ShotKind kind = camera_state().shot_kind;
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, member(data.get(), "change_nothing")) {
        receive_next(item);
        const std::string note = text(item, "note");
        EXPECT_TRUE(take_posts().empty()) << note;
        EXPECT_EQ(std::memcmp(&before, &status_block(), sizeof before), 0) << note;
        EXPECT_EQ(camera_state().shot_kind.load().type, kind.type) << note;
        EXPECT_FALSE(camera_state().video_mode) << note;
    }
}

// The vector whose name is name.
const cJSON* find_vector(const cJSON* data, const std::string& name) {
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, member(data, "vectors")) {
        if (text(item, "name") == name)
            break;
    }
    EXPECT_NE(item, nullptr) << name;
    return item;
}

// What the overlay sees agrees with the records that were written down independently.
TEST_F(CameraStateTest, overlay_fields) {
    const StatusBlock& block = status_block();
    const cJSON* parameters =
        find_vector(data.get(), "shooting 104: every field different, undocumented bytes filled");
    const ByteVector record = from_hex(texts_of(member(parameters, "posts"))[0]);
    const ByteVector frame = from_hex(text(parameters, "frame"));
    receive_next(parameters);
    struct Row {
        const void* field;
        std::size_t width;
        const std::uint8_t* expected;
    };
    for (const Row& row : {Row{&block.aperture, 2, &record[1]},
                           {&block.shutter, 2, &record[3]},
                           {&block.shutter_decimal, 1, &record[5]},
                           {&block.iso_code, 2, &record[6]}, // and EV
                           {&block.video_resolution_code, 1, &record[9]},
                           {&block.video_rate_code, 1, &record[10]},
                           {&block.exposure_mode, 3, &record[11]}, // and white balance
                           {&block.aperture_actual, 2, &record[23]},
                           {&block.shutter_actual, 2, &record[25]},
                           {&block.shutter_actual_decimal, 1, &record[27]},
                           {&block.iso_actual, 2, &record[28]},
                           {&block.ev_actual_code, 1, &frame[11 + 47]}})
        EXPECT_EQ(std::memcmp(row.field, row.expected, row.width), 0)
            << row.expected - record.data();

    // Recording, with a card that is full; 25 minutes done.
    ByteVector state(50);
    state[1] = 50;
    state[9] = 2;
    state[10] = 0x80;
    put_u32le(&state[11], 0x40 | 0x8 | 0x200 | 8 << 10);
    state[15] = 1;
    put_u32le(&state[16], 60'000);
    put_u32le(&state[20], 12);
    put_u32le(&state[24], 3);
    put_u32le(&state[28], 7);
    put_u16le(&state[40], 1500);
    receive(to_hex(state), clock);
    EXPECT_EQ(block.recording + block.card_present + block.photo_state, 3);
    EXPECT_EQ(block.card_state, 8);
    EXPECT_EQ(block.card_size, 60'000U);
    EXPECT_EQ(block.card_free, 12U);
    EXPECT_EQ(block.photos_left, 3U);
    EXPECT_EQ(block.recording_time_left, 7U);
    EXPECT_EQ(block.recording_time, 1500);
    clear_live_link_bytes();
    EXPECT_EQ(block.recording + block.recording_time, 0);
    EXPECT_EQ(block.card_size, 60'000U);
    EXPECT_FALSE(camera_state().video_mode);
}

TEST_F(CameraStateTest, records_are_posted_ten_times_a_second_per_kind) {
    const std::string lens =
        text(find_vector(data.get(), "lens 59: distance infinite: far"), "frame");
    const cJSON* state = find_vector(data.get(), "state 49: photo mode, idle, card fine");
    receive(lens, clock += 1000);
    receive(text(state, "frame"), clock);
    EXPECT_EQ(take_posts().size(), 4U);
    std::size_t posts = 0;
    for (int i = 0; i < 100; ++i) { // a second of frames
        receive(lens, clock += 10);
        posts += take_posts().size();
    }
    EXPECT_EQ(posts, 30U);
    EXPECT_EQ(status_block().focus_distance, 65535);
    receive(lens, clock += 10); // the eleventh within a second
    EXPECT_EQ(take_posts().size(), 0U);
    receive(lens, clock -= 5000); // after the clock was set back
    EXPECT_EQ(take_posts().size(), 3U);
    posts = 0;
    clock += 10'000;
    for (const int late : {0, 10, -10, 15, -20, 20, -15, 5}) { // ten a second, but unsteady
        clock += 100;
        receive(lens, clock + static_cast<std::uint32_t>(late));
        posts += take_posts().size();
    }
    EXPECT_EQ(posts, 3U * 8);
}

} // namespace
