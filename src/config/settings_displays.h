// Settings of the displays and overlays; see setting.h.
#pragma once

#include "config/setting_macros.h"

namespace fieldrelaybox {

inline constexpr std::string_view kill_hud = "killall -q hud";
inline constexpr std::string_view kill_overlays = "killall -q display hud";
inline constexpr std::string_view kill_internal_camera = "killall -q raspivid";

// clang-format off
inline constexpr std::array display_settings{
    Setting{SETTING(displays, display_enabled, boolean),
        .comment = "# OLED display enable \r\n" ENABLED_OR_DISABLED,
        .label = "OLED display", .help = "small OLED display",
        .report = {"disp_en", 320}, .parameters = {{{"display_enabled", 1}}},
        .commands = {"killall -q menu"}},
    Setting{SETTING(displays, osd_enabled, boolean),
        .comment = "# OSD enable \r\n" ENABLED_OR_DISABLED,
        .label = "On-screen display", .help = "on-screen display: text on the picture",
        .report = {"osd_en", 330}, .parameters = {{{"osd_enabled", 1}}},
        .mirror = &StatusBlock::osd_enabled},
    Setting{SETTING(displays, osd_border_width, byte),
        .comment = "# OSD borders width (pixels)\r\n"
                   "# 0 - disabled\r\n",
        .label = "Border width", .help = "border left and right of the text (0: none)",
        .unit = "pixels",
        .report = {"osdbrdw", 280}, .parameters = {{{"osd_borders", 1, "width"}}},
        .commands = {kill_overlays}},
    Setting{SETTING(displays, osd_border_height, byte),
        .comment = "# OSD borders height (pixels)\r\n"
                   "# 0 - disabled\r\n",
        .label = "Border height", .help = "border above and below the text (0: none)",
        .unit = "pixels",
        .report = {"osdbrdh", 290}, .parameters = {{{"osd_borders", 2, "height"}}},
        .commands = {kill_overlays}},
    Setting{SETTING(displays, osd_top_offset, byte),
        .comment = "# OSD top text offset (pixels)\r\n",
        .label = "Top offset", .help = "offset of the top text", .unit = "pixels",
        .report = {"osdtof", 300},
        .parameters = {{{"osd_offset", 1, "top"}, {"osd_top_offset", 1, "pixels"}}},
        .commands = {kill_hud}},
    Setting{SETTING(displays, osd_bottom_offset, byte),
        .comment = "# OSD bottom text offset (pixels)\r\n",
        .label = "Bottom offset", .help = "offset of the bottom text", .unit = "pixels",
        .report = {"osdbof", 310},
        .parameters = {{{"osd_offset", 2, "bottom"}, {"osd_bottom_offset", 1, "pixels"}}},
        .commands = {kill_hud}},
    Setting{SETTING(displays, hud_enabled, boolean),
        .comment = "# HUD enable \r\n" ENABLED_OR_DISABLED,
        .label = "HUD", .help = "HUD overlay over the picture",
        .report = {"hud_en", 340}, .parameters = {{{"hud_enabled", 1}}},
        .mirror = &StatusBlock::hud_enabled, .mirrored_at_start = false},
    Setting{SETTING(displays, internal_camera_enabled, boolean),
        .comment = "# Internal camera enable \r\n" ENABLED_OR_DISABLED,
        .label = "Internal camera", .help = "picture of the box's own camera",
        .report = {"ic_en", 350}, .parameters = {{{"internal_camera_enabled", 1}}},
        .mirror = &StatusBlock::internal_camera_enabled, .commands = {kill_internal_camera}},
    Setting{SETTING(displays, internal_camera_fullscreen, boolean),
        .comment = "# Internal camera fullscreen \r\n"
                   "# 1 - fullscreen\r\n"
                   "# 0 - windowed\r\n",
        .label = "Size of the internal camera's picture", .help = "size of that picture",
        .choices = "1 full screen|0 a window",
        .report = {"ic_fs", 360}, .parameters = {{{"internal_camera_fullscreen", 1}}},
        .mirror = &StatusBlock::internal_camera_fullscreen, .commands = {kill_internal_camera}},
    Setting{SETTING(displays, focus_assistant_enabled, boolean),
        .comment = "# Focus assistant enable \r\n" ENABLED_OR_DISABLED,
        .label = "Focus assistant", .help = "focus assistant",
        .report = not_reported, .parameters = {{{"fa_enabled", 1}}},
        .mirror = &StatusBlock::focus_assistant_enabled},
};
// clang-format on

} // namespace fieldrelaybox
