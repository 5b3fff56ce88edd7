// What an app's value, or a flip by remote control, does to a setting: its field of the live
// record, its mirror in the status block, and the commands that make it take effect.
#pragma once

#include "config/settings.h"
#include "config/settings_commands.h"

namespace fieldrelaybox {

struct TranscodedResolution {
    std::string_view name;
    std::int32_t width;
    std::int32_t height;
};

// Of the transcoded video. The last one stands for every other name.
inline constexpr std::array<TranscodedResolution, 3> transcoded_resolutions{
    {{"320x240", 320, 240}, {"640x480", 640, 480}, {"1280x720", 1280, 720}}};

// Stores what the row makes of an app's value, and mirrors it. To be saved: see change_settings.
void update_setting(const Setting& setting, const std::string& value);

// Stores the setting as it is in another record, and mirrors it.
void take_setting(const Setting& setting, const ConfigRecord& from);

// Turns a switch over, and mirrors it.
void flip_setting(const Setting& setting);

// Adds the row's commands, for this value of an app, but none twice.
void add_commands(const Setting& setting, const std::string& value, SettingsCommands& commands);

// Copies the mirrored settings into the status block; the HUD starts switched off.
void mirror_settings_at_start();

} // namespace fieldrelaybox
