#include "config/late_settings.h"

#include "config/channel_functions.h"
#include "config/config_file.h"
#include "config/config_record.h"
#include "config/setting_updates.h"
#include "core/log.h"
#include "core/text.h"

#include <memory>
#include <utility>

namespace fieldrelaybox {

namespace {

std::unique_ptr<const ConfigRecord> expected; // the record of the start, until a save has begun
LateSettingsHooks late_hooks{[] {}, [] {}};

// Reading has put the file's channel map in force.
void keep_changed_channel_map(const ConfigRecord& from_file) {
    const std::string map = load_text(config_record().rc_input_map);
    if (map != text_of(from_file.rc_input_map))
        parse_channel_map(map);
}

void take_unchanged(const ConfigRecord& at_start, const ConfigRecord& from_file) {
    ConfigRecord now{};
    copy_config_record(now);
    for (const Setting& setting : settings()) {
        if (format_setting(setting, now) == format_setting(setting, at_start))
            take_setting(setting, from_file);
    }
    keep_changed_channel_map(from_file);
}

} // namespace

void expect_late_settings(const ConfigRecord& at_start) {
    expected = std::make_unique<const ConfigRecord>(at_start);
}

void set_late_settings_hooks(const LateSettingsHooks& hooks) {
    late_hooks = hooks;
}

void take_late_settings(const std::string& path) {
    const auto at_start = std::exchange(expected, nullptr);
    if (at_start == nullptr || path.empty())
        return;
    ConfigRecord from_file{};
    set_defaults(DefaultTime::before_loading, from_file);
    if (!load_config_file(path, from_file))
        return;
    set_defaults(DefaultTime::after_loading, from_file);
    late_hooks.prepare();
    change_settings([&] { take_unchanged(*at_start, from_file); });
    late_hooks.follow_up();
    log_warning(
        "the start had no settings: those of %s are in force now, with what was changed since",
        path.c_str());
}

} // namespace fieldrelaybox
