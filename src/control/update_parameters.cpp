#include "control/update_parameters.h"

#include "apps/app_clients.h"
#include "apps/server_link.h"
#include "config/channel_functions.h"
#include "config/config_saving.h"
#include "config/interface_codes.h"
#include "config/settings_commands.h"
#include "control/hdmi_mode.h"
#include "core/log.h"
#include "core/status_block.h"
#include "core/text.h"
#include "media/udp_clients.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace fieldrelaybox {

namespace {

// --- What some parameters need besides their fields ---

// The passwords are shown as well: whoever sets up a box reads them here.
void announce_wifi(const AppRequest& request) {
    const auto value = [&request](std::size_t number) {
        return request.values[number - 1].c_str();
    };
    print_line("\nosmo iface %s ssid %s pass %s\n"
               "network iface %s ssid %s pass %s\n"
               "AP iface %s ssid %s pass %s mode %s channel %s country %s\n",
               value(1), value(2), value(3), value(4), value(5), value(6), value(7), value(8),
               value(9), value(10), value(11), value(12));
}

void log_rc_modes() {
    log_line("Set RC1 mode %s, RC2 mode %s", load_text(config_record().rc_input_mode).c_str(),
             load_text(config_record().rc2_input_mode).c_str());
}

void apply_channel_map() {
    parse_channel_map(load_text(config_record().rc_input_map));
}

void log_resolution() {
    log_line("set video resolution %dx%d", load(config_record().video_width),
             load(config_record().video_height));
}

void apply_server_connection() {
    server_settings_changed();
    app_client_server_changed();
}

void apply_udp_clients() {
    parse_udp_clients(load_text(config_record().udp_clients));
}

// --- The table ---

#define VALUE(number, conversion, member)                                                          \
    FieldUpdate {                                                                                  \
        number, Conversion::conversion, RECORD_FIELD(member)                                       \
    }

constexpr std::string_view kill_rc_input = "killall -q rcin";
constexpr std::string_view kill_internal_camera = "killall -q raspivid";
constexpr std::string_view kill_hud = "killall -q hud";
constexpr std::string_view kill_stream_outputs = "killall -q gst-launch-1.0 rtsp-server";
constexpr std::string_view kill_encoders = "killall -q rtsp-server gst-launch-1.0";

constexpr std::array table{
    // clang-format off
    UpdateParameter{.name = "rcin_enabled",
        .fields = {VALUE(1, flag, rc_input_enabled)},
        .commands = {kill_rc_input}, .restarts_rc_input = true},
    UpdateParameter{.name = "rcin_mode",
        .fields = {VALUE(1, text, rc_input_mode), VALUE(2, text, rc2_input_mode)},
        .follow_up = log_rc_modes,
        .commands = {kill_rc_input}, .restarts_rc_input = true},
    UpdateParameter{.name = "rcin_map",
        .fields = {VALUE(1, text, rc_input_map)},
        .follow_up = apply_channel_map,
        .commands = {kill_rc_input}, .restarts_rc_input = true},
    UpdateParameter{.name = "rcin_speed",
        .fields = {VALUE(1, number, rc_input_speed_pan), VALUE(2, number, rc_input_speed_tilt),
                   VALUE(3, number, roll_speed)}},
    UpdateParameter{.name = "rcin_pan", .fields = {VALUE(1, number, rc_input_speed_pan)}},
    UpdateParameter{.name = "rcin_tilt", .fields = {VALUE(1, number, rc_input_speed_tilt)}},
    UpdateParameter{.name = "rcin_dutch", .fields = {VALUE(1, number, roll_speed)}},
    UpdateParameter{.name = "rcin_pan_inv", .fields = {VALUE(1, number, rc_input_inverse_pan)}},
    UpdateParameter{.name = "rcin_tilt_inv", .fields = {VALUE(1, number, rc_input_inverse_tilt)}},
    UpdateParameter{.name = "rcin_exp",
        .fields = {VALUE(1, flag, rc_input_exp)},
        .commands = {kill_rc_input}, .restarts_rc_input = true},
    UpdateParameter{.name = "display_enabled",
        .fields = {VALUE(1, flag, display_enabled)},
        .commands = {"killall -q menu"}},
    UpdateParameter{.name = "udp_enabled", .fields = {VALUE(1, flag, udp_enabled)}},
    UpdateParameter{.name = "tcp_enabled", .fields = {VALUE(1, flag, tcp_enabled)}},
    UpdateParameter{.name = "mpegts_enabled", .fields = {VALUE(1, flag, mpegts_enabled)}},
    UpdateParameter{.name = "rtsp_enabled",
        .fields = {VALUE(1, flag, rtsp_enabled)},
        .commands = {"killall -q rtsp-server"}},
    UpdateParameter{.name = "rtmp_enabled",
        .fields = {VALUE(1, flag, rtmp_enabled)},
        .commands = {kill_stream_outputs}},
    UpdateParameter{.name = "hud_enabled",
        .fields = {VALUE(1, flag, hud_enabled)},
        .mirror = &StatusBlock::hud_enabled},
    UpdateParameter{.name = "internal_camera_enabled",
        .fields = {VALUE(1, flag, internal_camera_enabled)},
        .mirror = &StatusBlock::internal_camera_enabled,
        .commands = {kill_internal_camera}},
    UpdateParameter{.name = "internal_camera_fullscreen",
        .fields = {VALUE(1, flag, internal_camera_fullscreen)},
        .mirror = &StatusBlock::internal_camera_fullscreen,
        .commands = {kill_internal_camera}},
    UpdateParameter{.name = "fa_enabled",
        .fields = {VALUE(1, flag, focus_assistant_enabled)},
        .mirror = &StatusBlock::focus_assistant_enabled},
    UpdateParameter{.name = "osd_enabled",
        .fields = {VALUE(1, flag, osd_enabled)},
        .mirror = &StatusBlock::osd_enabled},
    UpdateParameter{.name = "hdmi_enabled",
        .fields = {VALUE(1, flag, hdmi_enabled)},
        .commands = {"./scripts/hdmi-change.sh %d"}},
    UpdateParameter{.name = "hdmimode", .instead = change_hdmi_mode},
    UpdateParameter{.name = "osd_borders",
        .fields = {VALUE(1, number, osd_border_width), VALUE(2, number, osd_border_height)},
        .commands = {"killall -q display hud"}},
    UpdateParameter{.name = "osd_offset",
        .fields = {VALUE(1, number, osd_top_offset), VALUE(2, number, osd_bottom_offset)},
        .commands = {kill_hud}},
    UpdateParameter{.name = "osd_top_offset",
        .fields = {VALUE(1, number, osd_top_offset)},
        .commands = {kill_hud}},
    UpdateParameter{.name = "osd_bottom_offset",
        .fields = {VALUE(1, number, osd_bottom_offset)},
        .commands = {kill_hud}},
    UpdateParameter{.name = "video_bitrate",
        .fields = {VALUE(1, number, video_bitrate)},
        .commands = {kill_encoders}},
    UpdateParameter{.name = "video_transcode_enabled",
        .fields = {VALUE(1, nonzero, video_transcode_enabled)},
        .commands = {kill_encoders}},
    UpdateParameter{.name = "video_resolution",
        .fields = {VALUE(1, resolution_width, video_width),
                   VALUE(1, resolution_height, video_height)},
        .follow_up = log_resolution,
        .commands = {kill_encoders}},
    UpdateParameter{.name = "audio_bitrate",
        .fields = {VALUE(1, number, audio_bitrate)},
        .commands = {"./scripts/audio-change.sh restart >> /dev/null &"}},
    UpdateParameter{.name = "audio_volume",
        .fields = {VALUE(1, number, audio_volume)},
        .commands = {"./scripts/audio-volume.sh %d >> /dev/null"}},
    UpdateParameter{.name = "audio_enabled",
        .fields = {VALUE(1, flag, audio_enabled)},
        .commands = {"./scripts/audio-change.sh %d >> /dev/null"}},
    UpdateParameter{.name = "audio_autogain",
        .fields = {VALUE(1, flag, audio_autogain)},
        .commands = {"./scripts/audio-gain.sh %d >> /dev/null"}},
    UpdateParameter{.name = "rtmp_url",
        .fields = {VALUE(1, text, rtmp_url)},
        .commands = {kill_stream_outputs}},
    UpdateParameter{.name = "tcp_port",
        .fields = {VALUE(1, number, tcp_port)},
        .commands = {kill_stream_outputs}},
    UpdateParameter{.name = "mpegts_clients",
        .fields = {VALUE(1, text, mpegts_clients)},
        .commands = {kill_stream_outputs}},
    UpdateParameter{.name = "udp_clients",
        .fields = {VALUE(1, text, udp_clients)},
        .follow_up = apply_udp_clients},
    UpdateParameter{.name = "wifi",
        .fields = {VALUE(1, interface_code, camera_iface), VALUE(2, text, camera_ssid),
                   VALUE(3, text, camera_psk),
                   VALUE(4, interface_code, wifi_iface), VALUE(5, text, wifi_ssid),
                   VALUE(6, text, wifi_psk),
                   VALUE(7, interface_code, ap_iface), VALUE(8, text, ap_ssid),
                   VALUE(9, text, ap_psk), VALUE(10, band, ap_mode),
                   VALUE(11, number, ap_channel), VALUE(12, text, ap_country)},
        .announce = announce_wifi,
        .commands = {"touch /run/wlan.update", "killall -q data-receiver",
                     "killall -q video-receiver"}},
    UpdateParameter{.name = "server_connection",
        .fields = {VALUE(1, text, server_host), VALUE(2, number, server_port),
                   VALUE(3, text, server_user), VALUE(4, text, server_pass),
                   VALUE(5, text, server_devid), VALUE(6, flag, server_enabled)},
        .prepare = server_settings_changing, .follow_up = apply_server_connection},
    // clang-format on
};

#undef VALUE

// --- Applying a row of the table ---

struct Resolution {
    std::string_view name;
    std::int32_t width;
    std::int32_t height;
};

// The last one stands for every other name.
constexpr std::array<Resolution, 3> resolutions{
    {{"320x240", 320, 240}, {"640x480", 640, 480}, {"1280x720", 1280, 720}}};

const Resolution& find_resolution(std::string_view name) {
    return *std::find_if(resolutions.begin(), resolutions.end() - 1,
                         [name](const Resolution& entry) { return entry.name == name; });
}

std::optional<std::int32_t> find_band(std::string_view value) {
    if (value == "2.4")
        return 2;
    if (value == "5")
        return 5;
    return std::nullopt;
}

// The number that value stands for; nothing for texts and for what changes nothing.
std::optional<std::int32_t> convert_number(Conversion conversion, const std::string& value) {
    switch (conversion) {
    case Conversion::flag:
        return is_true(value) ? 1 : 0;
    case Conversion::nonzero:
        return parse_decimal(value.c_str()) != 0 ? 1 : 0;
    case Conversion::number:
        return parse_decimal(value.c_str());
    case Conversion::band:
        return find_band(value);
    case Conversion::resolution_width:
        return find_resolution(value).width;
    case Conversion::resolution_height:
        return find_resolution(value).height;
    case Conversion::none:
    case Conversion::text:
    case Conversion::interface_code:
        break;
    }
    return std::nullopt;
}

const std::string& value_of(const FieldUpdate& update, const AppRequest& request) {
    return request.values[static_cast<std::size_t>(update.value - 1)];
}

void apply_field(const FieldUpdate& update, const AppRequest& request) {
    const std::string& value = value_of(update, request);
    if (update.conversion == Conversion::text) {
        store_text(update.field, value);
    } else if (update.conversion == Conversion::interface_code) {
        if (const auto interface_name = interface_of_code(value))
            store_text(update.field, *interface_name);
    } else if (const auto number = convert_number(update.conversion, value)) {
        store_number(update.field, *number);
    }
}

void apply_fields(const UpdateParameter& parameter, const AppRequest& request) {
    if (parameter.prepare != nullptr)
        parameter.prepare();
    for (const FieldUpdate& update : parameter.fields) {
        if (update.conversion == Conversion::none)
            break;
        apply_field(update, request);
    }
    if (parameter.mirror != nullptr)
        store(status_block().*parameter.mirror,
              static_cast<std::uint8_t>(is_true(request.values[0])));
    if (parameter.follow_up != nullptr)
        parameter.follow_up();
}

SettingsCommands commands_for(const UpdateParameter& parameter, const AppRequest& request) {
    SettingsCommands commands{{}, parameter.restarts_rc_input};
    const FieldUpdate& first = parameter.fields.front();
    for (std::string_view text : parameter.commands) {
        if (text.empty())
            break;
        std::string command(text);
        if (const std::size_t place = command.find("%d"); place != std::string::npos)
            command.replace(
                place, 2,
                std::to_string(
                    convert_number(first.conversion, value_of(first, request)).value_or(0)));
        commands.texts.push_back(std::move(command));
    }
    return commands;
}

} // namespace

std::span<const UpdateParameter> update_parameters() {
    return table;
}

void update_parameter(const AppRequest& request) {
    print_line("Need to update param %s to %s", request.name.c_str(), request.values[0].c_str());
    const auto* parameter =
        std::find_if(table.begin(), table.end(), [&request](const UpdateParameter& entry) {
            return entry.name == request.name;
        });
    if (parameter == table.end())
        return;
    if (parameter->instead != nullptr) {
        parameter->instead(request);
        return;
    }
    if (parameter->announce != nullptr)
        parameter->announce(request);
    SettingsCommands commands = commands_for(*parameter, request);
    change_settings([&] { apply_fields(*parameter, request); },
                    [&] { queue_settings_commands(std::move(commands)); });
    run_settings_commands();
}

} // namespace fieldrelaybox
