// docs/shared-memory.md lists exactly the fields and offsets of the public header.
#include "unit/test_data.h"

#include <map>
#include <regex>

namespace {

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
