// The pages that owners and writers of apps and sibling programs go by leave nothing out.
#include "config/config_report.h"
#include "config/settings.h"
#include "control/app_commands.h"
#include "control/update_parameters.h"
#include "unit/test_data.h"

#include <span>
#include <string_view>

namespace {

using namespace fieldrelaybox;

// The page has the name of every row, written between before and after.
template<class Row>
void expect_names(const std::string& page, const std::string& before, std::span<const Row> rows,
                  std::string_view Row::*name, const std::string& after) {
    const std::string text = test_data::read_file(SOURCE_DIR "/docs/" + page);
    for (const Row& row : rows) {
        const std::string wanted = before + std::string(row.*name) + after;
        EXPECT_NE(text.find(wanted), std::string::npos) << page << ": " << wanted;
    }
}

TEST(Documents, name_every_key_parameter_and_member) {
    expect_names("configuration.md", "| `", settings(), &Setting::key, "` |");
    expect_names("man/fieldrelaybox.conf.5", "\n.BR ", settings(), &Setting::key, " =");
    expect_names("app-protocol.md", "`", update_parameters(), &UpdateParameter::name, "`");
    expect_names("app-protocol.md", "`", report_members(), &ReportMember::name, "`");
}

// Those of the box on one page, those of the camera on the other.
TEST(Documents, name_every_command_word) {
    const std::string box = test_data::read_file(SOURCE_DIR "/docs/app-protocol.md");
    const std::string camera = test_data::read_file(SOURCE_DIR "/docs/camera-protocol.md");
    for (const AppCommand& command : app_commands()) {
        const std::string word(command.word);
        EXPECT_TRUE(box.find("`" + word + "`") != std::string::npos ||
                    camera.find("`\"" + word + "\"`") != std::string::npos)
            << word;
    }
}

} // namespace
