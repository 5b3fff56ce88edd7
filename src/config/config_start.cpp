#include "config/config_start.h"

#include "config/config_file.h"
#include "config/config_record.h"
#include "config/late_settings.h"
#include "config/settings.h"
#include "config/whole_files.h"
#include "core/status_block.h"

namespace fieldrelaybox {

bool init_config_record() {
    config_record() = ConfigRecord{};
    if (open_config_mirror() == nullptr)
        return false;
    set_defaults_before_loading(config_record());
    if (load_config_file(config_file_name, config_record()))
        set_defaults_after_loading(config_record());
    if (read_file(config_file_name).empty())
        expect_late_settings(config_record());
    return true;
}

void set_defaults_before_loading(ConfigRecord& record) {
    record.always_one = 1;
    set_defaults(DefaultTime::before_loading, record);
}

void set_defaults_after_loading(ConfigRecord& record) {
    set_defaults(DefaultTime::after_loading, record);
}

std::optional<ConfigRecord> read_whole_settings(const std::string& path) {
    const std::string text = read_file(path);
    if (!holds_whole_settings(text))
        return std::nullopt;
    ConfigRecord settings = settings_without_file();
    load_config_text(text, settings);
    set_defaults_after_loading(settings);
    return settings;
}

ConfigRecord settings_without_file() {
    ConfigRecord settings{};
    set_defaults_before_loading(settings);
    return settings;
}

} // namespace fieldrelaybox
