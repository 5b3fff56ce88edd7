// The configuration file, the record and the report against whole files written down independently.
#include "config/channel_functions.h"
#include "config/config_file.h"
#include "config/config_record.h"
#include "config/config_report.h"
#include "config/config_start.h"
#include "config/hdmi_modes.h"
#include "core/text.h"
#include "settings_list/settings_json.h"
#include "unit/test_data.h"

#include <array>

using namespace fieldrelaybox;
using namespace test_data;

namespace {

// A record as it is after the start of a box with this settings file.
ConfigRecord start_with(const std::string& content) {
    const std::string path = temporary_path("conf");
    std::ofstream(path, std::ios::binary) << content;
    ConfigRecord record{};
    set_defaults_before_loading(record);
    EXPECT_TRUE(load_config_file(path.c_str(), record));
    set_defaults_after_loading(record);
    copy_text(record.version, "0.20.2");
    std::filesystem::remove(path);
    return record;
}

// text without what settings of later_settings.json add to every file and report.
std::string without_later_settings(std::string text, const char* part) {
    const Json later = load_json("later_settings.json");
    for (const cJSON* entry : items_of(later.get())) {
        const std::string added = test_data::text(entry, part);
        const std::size_t place = text.find(added);
        if (place == std::string::npos)
            ADD_FAILURE() << "lacks " << added;
        else
            text.erase(place, added.size());
    }
    return text;
}

TEST(ConfigStart, gives_the_file_and_the_report) {
    for (const auto& [name, content, interfaces] :
         {std::array<std::string, 3>{"every_key", read_data("every_key.conf"),
                                     R"({"name":"eth0","addr":"192.0.2.5"})"},
          {"empty_text", "", ""}}) {
        const ConfigRecord record = start_with(content);
        EXPECT_EQ(without_later_settings(format_config_file(record), "file"),
                  read_data(name + ".saved.conf"));
        EXPECT_EQ(without_later_settings(build_configuration_report(record, interfaces), "report"),
                  read_data(name + ".report.json"));
    }
}

// A save of the sample as it is read keeps every line.
TEST(ConfigFile, sample_is_what_the_daemon_writes) {
    ConfigRecord record{};
    ASSERT_TRUE(load_config_file(SAMPLE_SETTINGS, record));
    EXPECT_EQ(format_config_file(record), read_file(SAMPLE_SETTINGS));
    EXPECT_EQ(record.tcp_port, 8555);
}

TEST(SettingsList, is_what_the_client_reads) {
    EXPECT_EQ(settings_list::settings_as_json(),
              read_file(SOURCE_DIR "/tools/fieldrelaybox/settings.json"))
        << "run `make settings`";
}

TEST(ConfigFile, reads_and_writes_single_lines) {
    const Json cases = load_json("reader_lines.json");
    for (const cJSON* entry : items_of(cases.get())) {
        const ConfigRecord record = start_with(text(entry, "file"));
        const std::string saved = "\r\n" + format_config_file(record);
        EXPECT_NE(saved.find('\n' + text(entry, "saved_line") + "\r\n"), std::string::npos)
            << text(entry, "file") << text(entry, "why");
    }
}

TEST(Tables, have_the_names_that_the_apps_use) {
    const Json functions = load_json("channel_functions.json");
    for (const cJSON* entry : items_of(functions.get())) {
        const char* name = cJSON_GetArrayItem(entry, 0)->valuestring;
        EXPECT_EQ(static_cast<int>(find_channel_function(name)),
                  cJSON_GetArrayItem(entry, 1)->valueint)
            << name;
    }
    const Json modes = load_json("hdmi_modes.json");
    for (const cJSON* entry : items_of(modes.get())) {
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

} // namespace
