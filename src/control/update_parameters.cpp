#include "control/update_parameters.h"

#include "apps/app_clients.h"
#include "apps/server_link.h"
#include "config/channel_functions.h"
#include "config/config_record.h"
#include "config/config_saving.h"
#include "config/late_settings.h"
#include "config/setting_updates.h"
#include "config/settings.h"
#include "config/settings_table.h"
#include "control/hdmi_mode.h"
#include "core/log.h"
#include "core/shared_access.h"
#include "core/status_block.h"
#include "media/udp_clients.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>
#include <vector>

namespace fieldrelaybox {

namespace {

// The passwords are shown as well: whoever sets up a box reads them here.
void announce_wifi(const AppRequest& request) {
    const auto value = [&request](std::size_t number) {
        return request.values[number - 1].c_str();
    };
    print_line("%s", "");
    print_line("osmo iface %s ssid %s pass %s", value(1), value(2), value(3));
    print_line("network iface %s ssid %s pass %s", value(4), value(5), value(6));
    print_line("AP iface %s ssid %s pass %s mode %s channel %s country %s", value(7), value(8),
               value(9), value(10), value(11), value(12));
    print_line("%s", "");
}

void log_rc_modes() {
    log_line("Set RC1 mode %s, RC2 mode %s", load_text(config_record().rc_input_mode).c_str(),
             load_text(config_record().rc2_input_mode).c_str());
}

// The receiver's values belong to the settings before: the RC counts as lost until the RC input
// process, which starts anew, has written others.
void lose_rc() {
    store<std::uint8_t>(status_block().rc_receiver_state, 0);
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

// Its hook takes the place of a change of settings.
constexpr std::string_view name_without_settings = "hdmimode";

constexpr std::array hooks{
    ParameterHooks{.name = "rcin_mode", .prepare = lose_rc, .follow_up = log_rc_modes},
    ParameterHooks{.name = "rcin_map", .prepare = lose_rc, .follow_up = apply_channel_map},
    ParameterHooks{.name = "rcin_exp", .prepare = lose_rc},
    ParameterHooks{.name = "video_resolution", .follow_up = log_resolution},
    ParameterHooks{.name = "udp_clients", .follow_up = apply_udp_clients},
    ParameterHooks{.name = "wifi", .announce = announce_wifi},
    ParameterHooks{.name = "server_connection",
                   .prepare = server_settings_changing,
                   .follow_up = apply_server_connection},
    ParameterHooks{.name = name_without_settings, .instead = change_hdmi_mode},
};

constexpr bool has_settings(std::string_view name) {
    return std::any_of(all_rows.begin(), all_rows.end(), [name](const Setting& row) {
        return row.parameters[0].name == name || row.parameters[1].name == name;
    });
}

static_assert(std::all_of(hooks.begin(), hooks.end(),
                          [](const ParameterHooks& entry) {
                              return entry.name == name_without_settings ||
                                     has_settings(entry.name);
                          }),
              "hooks for a parameter that no setting has");

ParameterHooks find_hooks(std::string_view name) {
    const auto* found =
        std::find_if(hooks.begin(), hooks.end(),
                     [name](const ParameterHooks& entry) { return entry.name == name; });
    return found == hooks.end() ? ParameterHooks{} : *found;
}

using Parts = std::vector<ParameterPart>;

const std::string& value_of(const ParameterPart& part, const AppRequest& request) {
    return request.values[static_cast<std::size_t>(part.value - 1)];
}

void apply(const Parts& parts, const ParameterHooks& extra, const AppRequest& request) {
    if (extra.prepare != nullptr)
        extra.prepare();
    change_settings([&] {
        for (const ParameterPart& part : parts)
            update_setting(*part.setting, value_of(part, request));
    });
    if (extra.follow_up != nullptr)
        extra.follow_up();
}

void change_and_save(const Parts& parts, const ParameterHooks& extra, const AppRequest& request) {
    if (extra.announce != nullptr)
        extra.announce(request);
    SettingsCommands commands{};
    for (const ParameterPart& part : parts)
        add_commands(*part.setting, value_of(part, request), commands);
    apply(parts, extra, request);
    request_save(std::move(commands));
}

} // namespace

std::span<const ParameterHooks> parameter_hooks() {
    return hooks;
}

void follow_late_settings() {
    set_late_settings_hooks({.prepare = server_settings_changing, .follow_up = [] {
                                 apply_server_connection();
                                 apply_udp_clients();
                             }});
}

void update_parameter(const AppRequest& request) {
    print_line("Need to update param %s to %s", request.name.c_str(), request.values[0].c_str());
    const ParameterHooks extra = find_hooks(request.name);
    const Parts parts = settings_of_parameter(request.name);
    if (extra.instead != nullptr)
        extra.instead(request);
    else if (!parts.empty())
        change_and_save(parts, extra, request);
}

} // namespace fieldrelaybox
