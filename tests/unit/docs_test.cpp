// The pages that owners and writers of apps and sibling programs go by leave nothing out.
#include "config/channel_functions.h"
#include "config/settings.h"
#include "control/app_commands.h"
#include "control/update_parameters.h"
#include "core/service_manager.h"
#include "core/text.h"
#include "unit/test_data.h"

#include <regex>
#include <string_view>

namespace {

using namespace fieldrelaybox;

std::string read_page(const std::string& name) {
    return test_data::read_file(SOURCE_DIR "/docs/" + name);
}

void expect_name(const std::string& page, std::string_view name) {
    EXPECT_NE(read_page(page).find("| `" + std::string(name) + "`"), std::string::npos)
        << page << ": " << name;
}

// A setting with a parameter of its own stands in configuration.md, which is written from the rows.
TEST(Documents, name_every_other_parameter) {
    for (const ParameterHooks& hooks : parameter_hooks())
        expect_name("app-protocol.md", hooks.name);
    for (const Setting& setting : settings()) {
        const ParameterValue& parameter = setting.parameters[0];
        if (settings_of_parameter(parameter.name).size() > 1)
            expect_name("app-protocol.md", parameter.name);
    }
}

// In a row of the program, by the setting or its parameter.
TEST(Documents, name_what_a_change_ends) {
    const std::string page = read_page("programs.md");
    for (const Setting& setting : settings()) {
        for (std::string_view command : setting.commands) {
            if (!command.starts_with("killall -q "))
                continue;
            for (command.remove_prefix(11); !command.empty();) {
                const std::string program(take_item(command, ' '));
                const std::string names =
                    std::string(setting.key) + '|' + std::string(setting.parameters[0].name);
                const std::regex row("\n\\|[^\n]*`(" + names + ")`[^\n]*`" + program + '`');
                EXPECT_TRUE(std::regex_search(page, row)) << names << ' ' << program;
            }
        }
    }
}

// The time that the supervisor's pass is summed up against.
TEST(Unit, has_the_time_of_the_watchdog) {
    EXPECT_NE(test_data::read_file(SOURCE_DIR "/packaging/fieldrelaybox.service")
                  .find("\nWatchdogSec=" + std::to_string(watchdog_ms / 1000) + "\n"),
              std::string::npos);
}

// Those of the box on one page, those of the camera on the other.
TEST(Documents, name_every_command_word_and_channel_function) {
    const std::string box = read_page("app-protocol.md"), camera = read_page("camera-protocol.md");
    for (const AppCommand& command : app_commands()) {
        const std::string word(command.word);
        EXPECT_TRUE(box.find("`" + word + "`") != std::string::npos ||
                    camera.find("`\"" + word + "\"`") != std::string::npos)
            << word;
    }
    const std::string rc = read_page("rc.md");
    for (const FunctionName& function : channel_functions)
        EXPECT_NE(rc.find("`" + std::string(function.word) + "`"), std::string::npos)
            << function.word;
}

} // namespace
