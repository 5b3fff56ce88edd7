// Runs tests/data/camera_commands.json, whose frames were written down independently of the code,
// through the command table and the builders.
#include "camera/button_frames.h"
#include "camera/camera_commands.h"
#include "camera/camera_state.h"
#include "camera/camera_system.h"
#include "camera/exposure.h"
#include "camera/focus.h"
#include "camera/gimbal.h"
#include "camera/image_settings.h"
#include "camera/remote_control.h"
#include "camera/shooting.h"
#include "camera/zoom.h"
#include "config/config_record.h"
#include "core/status_block.h"
#include "unit/camera_receiver.h"
#include "unit/shell_recorder.h"

#include <cjson/cJSON.h>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <sstream>

namespace fieldrelaybox {
namespace {

using Texts = std::vector<std::string>;

Texts texts_of(const cJSON* array) {
    Texts texts;
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, array) texts.emplace_back(cJSON_GetStringValue(item));
    return texts;
}

// A number or a truth value; 0 when it is missing.
int number_of(const cJSON* object, const char* name) {
    const cJSON* item = cJSON_GetObjectItemCaseSensitive(object, name);
    return item == nullptr ? 0 : cJSON_IsBool(item) ? cJSON_IsTrue(item) : item->valueint;
}

std::uint8_t& status_byte(const char* offset) {
    return reinterpret_cast<std::uint8_t*>(&status_block())[std::stoul(offset)];
}

// The arguments of a call such as set_date_and_time(13,5,59), without quotes.
struct Arguments {
    Texts texts;
    int integer(std::size_t i) const { return std::stoi(texts.at(i)); }
    bool truth(std::size_t i) const { return texts.at(i) == "true"; }
};

const std::map<std::string, std::function<void(const Arguments&)>> builders{
    {"gimbal_reset", [](const Arguments& a) { gimbal_reset(a.truth(0)); }},
    {"gimbal_speed", [](const Arguments& a) { gimbal_speed(a.integer(0), a.integer(1)); }},
    {"gimbal_move", [](const Arguments& a) { gimbal_move(a.integer(0), a.integer(1)); }},
    {"gimbal_set_angle", [](const Arguments& a) { gimbal_set_angle(a.integer(0), a.integer(1)); }},
    {"remote_control",
     [](const Arguments& a) { remote_control(a.integer(0), a.integer(1), a.integer(2)); }},
    {"shot", [](const Arguments&) { shot(); }},
    {"stop_shot", [](const Arguments&) { stop_shot(); }},
    {"stop_interval_shooting", [](const Arguments&) { stop_interval_shooting(); }},
    {"periodic_frame", [](const Arguments&) { periodic_frame(); }},
    {"set_mode_video", [](const Arguments&) { set_mode_video(); }},
    {"set_mode", [](const Arguments& a) { set_mode(a.truth(0)); }},
    {"record", [](const Arguments& a) { record(a.truth(0)); }},
    {"set_shot_mode", [](const Arguments& a) { set_shot_mode(a.integer(0)); }},
    {"set_manual_focus", [](const Arguments& a) { set_manual_focus(std::stod(a.texts.at(0))); }},
    {"set_focus_type",
     [](const Arguments& a) { set_focus_type(static_cast<FocusType>(a.integer(0))); }},
    {"set_focus_point",
     [](const Arguments& a) {
         set_focus_point(std::stof(a.texts.at(0)), std::stof(a.texts.at(1)));
     }},
    {"set_iso", [](const Arguments& a) { set_iso(a.integer(0)); }},
    {"set_ev", [](const Arguments& a) { set_ev(std::stod(a.texts.at(0))); }},
    {"set_aperture", [](const Arguments& a) { set_aperture(std::stof(a.texts.at(0))); }},
    {"set_image_mode", [](const Arguments& a) { set_image_mode(a.texts.at(0).c_str()); }},
    {"set_video_resolution",
     [](const Arguments& a) { set_video_resolution(a.integer(0), a.integer(1), a.integer(2)); }},
    {"zoom_drive", [](const Arguments& a) { zoom_drive(a.integer(0)); }},
    {"set_zoom", [](const Arguments& a) { set_zoom(a.integer(0)); }},
    {"set_date_and_time",
     [](const Arguments& a) {
         set_date_and_time(a.integer(0), a.integer(1), a.integer(2), a.integer(3), a.integer(4),
                           a.integer(5));
     }},
};

void call_builder(const std::string& call) {
    const std::size_t open = call.find('(');
    Arguments arguments;
    std::istringstream list(call.substr(open + 1, call.size() - open - 2));
    for (std::string text; std::getline(list, text, ',');) {
        std::erase(text, '"');
        arguments.texts.push_back(text);
    }
    builders.at(call.substr(0, open))(arguments);
}

class CameraVocabulary : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
        std::construct_at(&camera_state());
        std::construct_at(&camera_builder_state());
        status_block() = {};
        config_record() = {};
        shell_recorder::take_commands();
    }

    void apply_state(const cJSON* state) {
        const cJSON* poke = nullptr;
        cJSON_ArrayForEach(poke, cJSON_GetObjectItem(state, "status_block"))
            status_byte(poke->string) = static_cast<std::uint8_t>(poke->valueint);
        cJSON_ArrayForEach(poke, cJSON_GetObjectItem(state, "status_block_u16"))
            put_u16le(&status_byte(poke->string), static_cast<std::uint16_t>(poke->valueint));
        if (cJSON_HasObjectItem(state, "clock_sync"))
            camera_link().clock_sync = number_of(state, "clock_sync") != 0;

        const cJSON* report = cJSON_GetObjectItem(state, "camera");
        camera_state().video_mode = number_of(report, "video_mode") != 0;
        camera_state().photo_mode = number_of(report, "photo_mode") != 0;
        camera_state().autofocus = number_of(report, "autofocus") != 0;
        camera_state().interval_shooting = number_of(report, "interval_shooting") != 0;
        camera_state().focus_range = number_of(report, "focus_range");
        camera_state().assistant_bits =
            static_cast<std::uint8_t>(number_of(report, "assistant_bits"));
        camera_state().shot_kind = {static_cast<std::uint8_t>(number_of(report, "shot_mode")),
                                    static_cast<std::uint8_t>(number_of(report, "shot_type"))};
        config_record().rc_input_inverse_pan = number_of(report, "pan_reverse");
        config_record().rc_input_inverse_tilt = number_of(report, "tilt_reverse");
        camera_builder_state().last_position_command_ms = 0;
        camera_builder_state().position_commanded = false;
    }

    // What a member of "after" says now; status_block and shell have checks of their own.
    static int value_after(const std::string& name) {
        const CameraBuilderState& state = camera_builder_state();
        const std::map<std::string, int> values{
            {"gimbal_idle", state.app_gimbal_idle},
            {"hold", state.gimbal_hold},
            {"zoom_level", current_zoom_level()},
            {"zoom_step", state.zoom_step},
            {"zoom_direction", state.zoom_direction},
            {"clock_sync", camera_link().clock_sync},
            {"position_time_updated",
             state.position_commanded && state.last_position_command_ms != 0},
        };
        return values.at(name);
    }

    static void check_after(const cJSON* after) {
        EXPECT_EQ(shell_recorder::take_commands(), texts_of(cJSON_GetObjectItem(after, "shell")));
        const cJSON* item = nullptr;
        cJSON_ArrayForEach(item, after) {
            const std::string name = item->string;
            const cJSON* byte = nullptr;
            if (name == "status_block") {
                cJSON_ArrayForEach(byte, item) EXPECT_EQ(status_byte(byte->string), byte->valueint)
                    << byte->string;
            } else if (name == "config") {
                EXPECT_EQ(config_record().camera_disabled, number_of(item, "camera_disabled"));
                EXPECT_EQ(status_block().camera_disabled, config_record().camera_disabled);
            } else if (name != "shell") {
                EXPECT_EQ(value_after(name), number_of(after, name.c_str())) << name;
            }
        }
    }

    // The frames without sequence number and frame check, in hexadecimal; where an expected frame
    // has "??", any byte will do.
    Texts take_frame_texts(const Texts& expected) {
        Texts texts;
        for (std::vector<std::uint8_t> frame : camera.take_frames()) {
            frame[6] = 0;
            std::string text;
            for (std::size_t i = 0; i < frame.size() - frame_check_size; ++i) {
                char digits[3];
                std::snprintf(digits, sizeof digits, "%02x", frame[i]);
                const bool any = texts.size() < expected.size() &&
                                 expected[texts.size()].compare(i * 2, 2, "??") == 0;
                text += any ? "??" : digits;
            }
            texts.push_back(text);
        }
        return texts;
    }

    void run_case(const cJSON* row) {
        SCOPED_TRACE(cJSON_GetStringValue(cJSON_GetObjectItem(row, "name")));
        apply_state(cJSON_GetObjectItem(row, "state"));
        testing::internal::CaptureStderr();
        for (std::string text : texts_of(cJSON_GetObjectItem(row, "send"))) {
            text.resize(std::min<std::size_t>(text.size(), 255)); // as the control server cuts it
            handle_camera_command(text.c_str(), text.size());
        }
        for (const std::string& call : texts_of(cJSON_GetObjectItem(row, "call")))
            call_builder(call);
        const std::string log = testing::internal::GetCapturedStderr();

        std::string expected_log;
        for (const std::string& line : texts_of(cJSON_GetObjectItem(row, "log")))
            expected_log += line + "\n";
        EXPECT_EQ(log, expected_log);
        const Texts expected_frames = texts_of(cJSON_GetObjectItem(row, "frames"));
        EXPECT_EQ(take_frame_texts(expected_frames), expected_frames);
        check_after(cJSON_GetObjectItem(row, "after"));
    }

    CameraReceiver camera;
};

TEST_P(CameraVocabulary, SendsAndLogsAsWrittenDown) {
    std::stringstream text;
    text << std::ifstream(TEST_DATA_DIR "/camera_commands.json").rdbuf();
    const std::unique_ptr<cJSON, decltype(&cJSON_Delete)> data(cJSON_Parse(text.str().c_str()),
                                                               &cJSON_Delete);
    const cJSON* rows = cJSON_GetObjectItem(data.get(), GetParam());
    ASSERT_GT(cJSON_GetArraySize(rows), 0);
    camera_link().connected = std::string(GetParam()) != "unconnected";
    const cJSON* row = nullptr;
    cJSON_ArrayForEach(row, rows) run_case(row);
}

INSTANTIATE_TEST_SUITE_P(, CameraVocabulary,
                         testing::Values("cases", "unconnected", "builders", "loose"),
                         [](const auto& list) { return std::string(list.param); });

} // namespace
} // namespace fieldrelaybox
