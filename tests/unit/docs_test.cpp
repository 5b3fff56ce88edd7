// The pages that owners and writers of apps and sibling programs go by leave nothing out.
#include "camera/camera_command_request.h"
#include "config/config_report.h"
#include "config/settings.h"
#include "control/update_parameters.h"
#include "unit/test_data.h"

#include <map>
#include <ranges>
#include <regex>

namespace {

using namespace fieldrelaybox;

// The page has every name, written between before and after.
template<class Names>
void expect_names(const std::string& page, const std::string& before, const Names& names,
                  const std::string& after) {
    const std::string text = test_data::read_file(SOURCE_DIR "/docs/" + page);
    for (const std::string_view name : names)
        EXPECT_NE(text.find(before + std::string(name) + after), std::string::npos)
            << page << ": " << name;
}

TEST(Documents, name_every_key_parameter_member_and_command) {
    using std::views::transform;
    const auto keys = settings() | transform(&Setting::key);
    expect_names("configuration.md", "| `", keys, "` |");
    expect_names("man/fieldrelaybox.conf.5", "\n.BR ", keys, " =");
    expect_names("app-protocol.md", "`", update_parameters() | transform(&UpdateParameter::name),
                 "`");
    expect_names("app-protocol.md", "`", report_members() | transform(&ReportMember::name), "`");
    expect_names("camera-protocol.md", "`\"", camera_commands() | transform(&CameraCommand::word),
                 "\"`");
}

using Offsets = std::map<std::string, int>;

Offsets offsets_in(const std::string& text, const std::string& pattern, int name, int offset) {
    Offsets offsets;
    const std::regex expression(pattern);
    for (std::sregex_iterator match(text.begin(), text.end(), expression), end; match != end;
         ++match)
        offsets[(*match)[static_cast<std::size_t>(name)]] =
            std::stoi((*match)[static_cast<std::size_t>(offset)]);
    return offsets;
}

Offsets header_offsets(const std::string& type) {
    Offsets offsets =
        offsets_in(test_data::read_file(SOURCE_DIR "/include/fieldrelaybox/shared_memory.h"),
                   "FIELDRELAYBOX_LAYOUT\\(" + type + ", (\\w+), (\\d+)\\)", 1, 2);
    std::erase_if(offsets, [](const auto& entry) {
        return std::regex_match(entry.first, std::regex("(reserved|pad)\\d+"));
    });
    return offsets;
}

TEST(SharedMemoryPage, lists_the_fields_of_the_header) {
    const std::string page = test_data::read_file(SOURCE_DIR "/docs/shared-memory.md");
    const std::size_t second = page.find("## /config_mem");
    ASSERT_NE(second, std::string::npos);
    const std::string row = "\\| (\\d+) \\| [^|]+ \\| `(\\w+)` \\|";
    EXPECT_EQ(offsets_in(page.substr(0, second), row, 2, 1), header_offsets("StatusBlock"));
    EXPECT_EQ(offsets_in(page.substr(second), row, 2, 1), header_offsets("ConfigRecord"));
    EXPECT_GT(header_offsets("ConfigRecord").size(), 60U);
}

} // namespace
