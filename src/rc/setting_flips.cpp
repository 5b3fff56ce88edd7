#include "rc/setting_flips.h"

#include "config/config_record.h"
#include "config/config_saving.h"
#include "config/setting_updates.h"
#include "config/settings_table.h"

#include <array>
#include <string>
#include <utility>

namespace fieldrelaybox {

namespace {

// In the order of FlippedSetting.
constexpr std::array flipped_settings{&setting_row("focus_assistant_enabled"),
                                      &setting_row("internal_camera_enabled"),
                                      &setting_row("osd_enabled")};

} // namespace

void flip_and_save(FlippedSetting setting) {
    const Setting& row = *flipped_settings[static_cast<std::size_t>(setting)];
    change_settings([&row] { flip_setting(row); });
    SettingsCommands commands;
    add_commands(row, std::to_string(load_number(row.field)), commands);
    request_save(std::move(commands));
}

} // namespace fieldrelaybox
