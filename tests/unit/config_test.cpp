// The configuration file, the record and the report against whole files written down independently.
#include "config/channel_functions.h"
#include "config/config_file.h"
#include "config/config_record.h"
#include "config/config_report.h"
#include "config/hdmi_modes.h"
#include "config/settings.h"
#include "control/update_parameters.h"
#include "core/status_block.h"
#include "core/text.h"
#include "unit/config_data.h"

#include <set>

using namespace fieldrelaybox;
using namespace test_data;

namespace {

// A record as it is after the start of a box with this file in its directory; "" for no file.
ConfigRecord start_with(const std::string& path) {
    ConfigRecord record{};
    set_defaults_before_loading(record);
    if (load_config_file(path.c_str(), record))
        set_defaults_after_loading(record);
    copy_text(record.version, "0.20.2");
    return record;
}

struct Start {
    const char* name;
    const char* conf; // null: no file, "": an empty one
    const char* interfaces;
};

void PrintTo(const Start& start, std::ostream* out) {
    *out << start.name;
}

class ConfigStart : public testing::TestWithParam<Start> {};

TEST_P(ConfigStart, gives_the_record_the_file_and_the_report) {
    const auto& [name, conf, interfaces] = GetParam();
    const std::string base = name;
    const std::string path = conf == nullptr ? "/nonexistent" : write_temporary_file(conf);
    const ConfigRecord record = start_with(path);
    EXPECT_EQ(hex_of(record), read_hex(base + ".record.hex"));
    if (conf == nullptr)
        return;
    EXPECT_EQ(format_config_file(record), read_data(base + ".saved.conf"));
    EXPECT_EQ(build_configuration_report(record, interfaces), read_data(base + ".report.json"));
}

const std::string every_key = read_data("every_key.conf");

INSTANTIATE_TEST_SUITE_P(Files, ConfigStart,
                         testing::Values(Start{"every_key", every_key.c_str(),
                                               R"({"name":"eth0","addr":"192.0.2.5"})"},
                                         Start{"empty_text", "", ""}, Start{"nofile", nullptr, ""}),
                         [](const auto& start) { return start.param.name; });

TEST(ConfigFile, reads_and_writes_single_lines) {
    const Json cases = load_json("reader_lines.json");
    const cJSON* entry = nullptr;
    cJSON_ArrayForEach(entry, cases.get()) {
        const ConfigRecord record = start_with(write_temporary_file(text(entry, "file")));
        const std::string saved = "\r\n" + format_config_file(record);
        EXPECT_NE(saved.find('\n' + text(entry, "saved_line") + "\r\n"), std::string::npos)
            << text(entry, "file") << text(entry, "why");
    }
}

TEST(ChannelMap, fills_the_status_block) {
    start_with(write_temporary_file(every_key));
    EXPECT_EQ(to_hex(status_block().channel_function), read_hex("every_key.channels.hex"));
}

TEST(Tables, have_the_names_that_the_apps_use) {
    const cJSON* entry = nullptr;
    const Json functions = load_json("channel_functions.json");
    cJSON_ArrayForEach(entry, functions.get()) {
        const char* name = cJSON_GetArrayItem(entry, 0)->valuestring;
        EXPECT_EQ(static_cast<int>(find_channel_function(name)),
                  cJSON_GetArrayItem(entry, 1)->valueint)
            << name;
    }
    const Json modes = load_json("hdmi_modes.json");
    cJSON_ArrayForEach(entry, modes.get()) {
        const char* name = cJSON_GetArrayItem(entry, 0)->valuestring;
        auto group = static_cast<HdmiGroup>(7);
        int mode = -1;
        EXPECT_NE(look_up_hdmi_mode(std::string(name) + ' ', group, mode), 0);
        EXPECT_EQ(mode, -1);
        EXPECT_EQ(look_up_hdmi_mode(name, group, mode), 0);
        EXPECT_EQ(static_cast<int>(group), cJSON_GetArrayItem(entry, 1)->valueint) << name;
        EXPECT_EQ(mode, cJSON_GetArrayItem(entry, 2)->valueint) << name;
    }
}

// A key without a parameter or a member could not be set or seen by any app.
TEST(Tables, every_setting_can_be_updated_and_is_reported) {
    std::set<std::pair<int, int>> updated;
    for (const UpdateParameter& parameter : update_parameters()) {
        for (const FieldUpdate& update : parameter.fields)
            updated.emplace(update.field.offset, update.field.capacity);
    }
    std::set<std::pair<int, int>> reported;
    for (const ReportMember& member : report_members())
        reported.emplace(member.field.offset, member.field.capacity);
    for (const Setting& setting : settings()) {
        const std::pair<int, int> field(setting.offset, setting.capacity);
        EXPECT_TRUE(updated.contains(field)) << setting.key;
        EXPECT_EQ(reported.contains(field), setting.key != "focus_assistant_enabled")
            << setting.key;
    }
}

// The pages that app writers and owners go by leave nothing out.
TEST(Documents, name_every_key_parameter_and_member) {
    const std::string docs = TEST_DATA_DIR "/../../docs/";
    const std::string protocol = read_file(docs + "app-protocol.md");
    const auto names = [](const std::string& page, std::string_view name) {
        return page.find('`' + std::string(name) + '`') != std::string::npos;
    };
    for (const UpdateParameter& parameter : update_parameters())
        EXPECT_TRUE(names(protocol, parameter.name)) << parameter.name;
    for (const ReportMember& member : report_members())
        EXPECT_TRUE(names(protocol, member.name)) << member.name;
    const std::string configuration = read_file(docs + "configuration.md");
    for (const Setting& setting : settings())
        EXPECT_NE(configuration.find("| `" + std::string(setting.key) + "` |"), std::string::npos)
            << setting.key;
}

} // namespace
