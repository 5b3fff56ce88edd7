#include "config/config_file.h"
#include "config/settings.h"
#include "unit/test_data.h"

#include <gtest/gtest.h>
#include <memory>

namespace fieldrelaybox {
namespace {

// A box that starts with the sample and saves one setting changes one line of it.
TEST(SampleConfiguration, IsWhatTheDaemonWrites) {
    const char* sample = SOURCE_DIR "/packaging/fieldrelaybox.conf";
    const auto record = std::make_unique<ConfigRecord>();
    ASSERT_TRUE(load_config_file(sample, *record));
    EXPECT_EQ(test_data::read_file(sample), format_config_file(*record));
    EXPECT_STREQ("wlan0", record->camera_iface);
}

TEST(ConfigurationManual, NamesEveryKey) {
    const std::string manual = test_data::read_file(SOURCE_DIR "/docs/man/fieldrelaybox.conf.5");
    for (const Setting& setting : settings())
        EXPECT_NE(std::string::npos, manual.find("\n.BR " + std::string(setting.key) + " ="))
            << setting.key;
}

} // namespace
} // namespace fieldrelaybox
