// Settings of the remote control; see setting.h.
#pragma once

#include "config/setting_macros.h"

namespace fieldrelaybox {

inline constexpr std::string_view kill_rc_input = "killall -q rcin";
inline constexpr std::string_view no_channel_functions = ",,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,";
inline constexpr std::string_view rc_modes = "pwm|ppm|sbus|crsf|ibus|pad|off"; // as rcin knows them
static_assert(no_channel_functions.size() == FIELDRELAYBOX_RC_CHANNELS - 1);

// clang-format off
inline constexpr std::array rc_settings{
    Setting{SETTING(rc, rc_input_enabled, boolean),
        .comment = "# Use RC control\r\n" ENABLED_OR_DISABLED,
        .label = "RC control", .help = "control by an RC receiver",
        .report = {"rcin_en", 180}, .parameters = {{{"rcin_enabled", 1}}},
        .commands = {kill_rc_input}, .restarts_rc_input = true},
    Setting{SETTING(rc, rc_input_mode, text),
        .comment = "# RC1 mode\r\n"
                   "# pwm - PWM mode\r\n"
                   "# ppm - PPM mode\r\n",
        .label = "Mode of receiver 1", .help = "signal of the first receiver, RC1; pad is a game pad",
        .choices = rc_modes,
        .initial = {DefaultTime::before_loading, "pwm"}, .sample = "pwm",
        .report = {"rcin_mode", 190}, .parameters = {{{"rcin_mode", 1, "RC1-mode"}}},
        .commands = {kill_rc_input}, .restarts_rc_input = true},
    Setting{SETTING(rc, rc2_input_mode, text),
        .comment = "# RC2 mode\r\n"
                   "# sbus - Sbus mode\r\n"
                   "# ppm - PPM mode\r\n",
        .label = "Mode of receiver 2", .help = "signal of the second receiver, RC2; pad is a game pad",
        .choices = rc_modes,
        .initial = {DefaultTime::before_loading, "sbus"}, .sample = "sbus",
        .report = {"rcin2_mode", 200}, .parameters = {{{"rcin_mode", 2, "RC2-mode"}}},
        .commands = {kill_rc_input}, .restarts_rc_input = true},
    Setting{SETTING(rc, rc_input_map, text),
        .comment = "# RC channels mapping\r\n"
                   "# pan,tilt,zoom... etc\r\n",
        .label = "Channel functions",
        .help = "functions of the RC channels, comma-separated without blanks, channel 1 first, at "
                "most 32",
        // Not parsed into the channel-function table: without a map that stays as it was.
        .initial = {DefaultTime::after_loading, no_channel_functions, "31 commas"},
        .sample = no_channel_functions,
        .report = {"rcin_map", 210}, .parameters = {{{"rcin_map", 1, "function,function,..."}}},
        .commands = {kill_rc_input}, .restarts_rc_input = true},
    Setting{SETTING(rc, rc_input_speed_pan, integer),
        .comment = "# RC pan speed (%)\r\n"
                   "# 0 - 100\r\n",
        .label = "Pan speed", .help = "speed of panning", .unit = "percent", .limits = {0, 100},
        .sample = "50", .report = {"rcin_pan", 220},
        .parameters = {{{"rcin_speed", 1, "pan"}, {"rcin_pan", 1}}}},
    Setting{SETTING(rc, rc_input_speed_tilt, integer),
        .comment = "# RC tilt speed (%)\r\n"
                   "# 0 - 100\r\n",
        .label = "Tilt speed", .help = "speed of tilting", .unit = "percent", .limits = {0, 100},
        .sample = "50", .report = {"rcin_tilt", 230},
        .parameters = {{{"rcin_speed", 2, "tilt"}, {"rcin_tilt", 1}}}},
    Setting{SETTING(rc, rc_input_inverse_pan, integer),
        .comment = "# RC pan inverse\r\n"
                   "# 0 - no\r\n"
                   "# 1 - inverse\r\n",
        .label = "Pan direction", .help = "direction of panning", .choices = "0 normal|1 inverse",
        .report = {"rcin_paninv", 240}, .parameters = {{{"rcin_pan_inv", 1}}}},
    Setting{SETTING(rc, rc_input_inverse_tilt, integer),
        .comment = "# RC tilt inverse\r\n"
                   "# 0 - no\r\n"
                   "# 1 - inverse\r\n",
        .label = "Tilt direction", .help = "direction of tilting", .choices = "0 normal|1 inverse",
        .report = {"rcin_tiltinv", 250}, .parameters = {{{"rcin_tilt_inv", 1}}}},
    Setting{SETTING(rc, rc_input_exp, boolean),
        .comment = "# RC exponential pan/tilt\r\n",
        .label = "Exponential sticks",
        .help = "exponential curve for pan and tilt: finer control around the centre of the sticks",
        .report = {"rcin_exp", 260}, .parameters = {{{"rcin_exp", 1}}},
        .commands = {kill_rc_input}, .restarts_rc_input = true},
};

// Apps set it, but it has no place in the file: it lasts until the next start.
inline constexpr std::array unsaved_settings{
    Setting{SETTING(rc, roll_speed, integer),
        .label = "Roll speed", .help = "speed of rolling", .unit = "percent", .limits = {0, 100},
        .report = not_reported,
        .parameters = {{{"rcin_speed", 3, "roll"}, {"rcin_dutch", 1}}}},
};
// clang-format on

} // namespace fieldrelaybox
