#include "config/setting_updates.h"

#include "config/config_file.h"
#include "config/interface_codes.h"
#include "config/settings.h"
#include "core/log.h"
#include "core/status_block.h"
#include "core/text.h"

#include <algorithm>
#include <optional>

namespace fieldrelaybox {

namespace {

const TranscodedResolution& find_resolution(std::string_view name) {
    return *std::find_if(transcoded_resolutions.begin(), transcoded_resolutions.end() - 1,
                         [name](const TranscodedResolution& entry) { return entry.name == name; });
}

std::optional<std::int32_t> find_band(std::string_view value) {
    if (value == "2.4")
        return 2;
    if (value == "5")
        return 5;
    return std::nullopt;
}

// The number that value stands for; nothing for what changes nothing.
std::optional<std::int32_t> convert_number(const Setting& setting, const std::string& value) {
    switch (setting.conversion) {
    case Conversion::nonzero:
        return parse_decimal(value.c_str()) != 0 ? 1 : 0;
    case Conversion::band:
        return find_band(value);
    case Conversion::resolution_width:
        return find_resolution(value).width;
    case Conversion::resolution_height:
        return find_resolution(value).height;
    case Conversion::by_kind:
    case Conversion::interface_code:
        break;
    }
    if (setting.kind == SettingKind::boolean)
        return is_true(value) ? 1 : 0;
    return parse_decimal(value.c_str());
}

void store_switch_and_mirror(const Setting& setting, std::int32_t number) {
    store_number(setting.field, number);
    if (setting.mirror != nullptr)
        store(status_block().*setting.mirror, static_cast<std::uint8_t>(number));
}

// A line feed would end the setting's line of the file. A carriage return stays, as it always has.
std::string without_control_characters(std::string text) {
    std::erase_if(text, [](unsigned char c) { return (c < ' ' && c != '\r') || c == 0x7F; });
    return text;
}

void warn(const Setting& setting, const char* what) {
    log_warning("setting %.*s %s", static_cast<int>(setting.key.size()), setting.key.data(), what);
}

void warn_of_what_is_lost(const Setting& setting) {
    ConfigRecord record{};
    copy_config_record(record);
    const std::string_view text = text_in(record, setting.field);
    if (text.find('"') != std::string_view::npos)
        warn(setting, "holds a double quote, which the configuration file or report cannot hold");
    if (text.find(" ;") != std::string_view::npos)
        warn(setting, "holds a blank before a semicolon, where the configuration file ends it");
    if (format_setting(setting, record).size() > longest_config_line)
        warn(setting, "is too long to be read back whole from the configuration file");
}

void update_text(const Setting& setting, const std::string& value) {
    if (setting.conversion != Conversion::interface_code) {
        store_text(setting.field, without_control_characters(value));
        warn_of_what_is_lost(setting);
    } else if (const auto interface_name = interface_of_code(value))
        store_text(setting.field, *interface_name);
}

} // namespace

void update_setting(const Setting& setting, const std::string& value) {
    if (is_text(setting.kind))
        update_text(setting, value);
    else if (const auto number = convert_number(setting, value))
        store_switch_and_mirror(setting, *number);
}

void take_setting(const Setting& setting, const ConfigRecord& from) {
    if (is_text(setting.kind))
        store_text(setting.field, text_in(from, setting.field));
    else if (setting.mirrored_at_start)
        store_switch_and_mirror(setting, number_in(from, setting.field));
    else
        store_number(setting.field, number_in(from, setting.field));
}

void flip_setting(const Setting& setting) {
    store_switch_and_mirror(setting, load_number(setting.field) == 0 ? 1 : 0);
}

void add_commands(const Setting& setting, const std::string& value, SettingsCommands& commands) {
    commands.restarts_rc_input |= setting.restarts_rc_input;
    for (const std::string_view text : setting.commands) {
        commands.kind += text;
        std::string command(text);
        if (const std::size_t place = command.find("%d"); place != std::string::npos)
            command.replace(place, 2, std::to_string(convert_number(setting, value).value_or(0)));
        const auto& texts = commands.texts;
        if (!command.empty() && std::find(texts.begin(), texts.end(), command) == texts.end())
            commands.texts.push_back(std::move(command));
    }
}

void mirror_settings_at_start() {
    for (const Setting& setting : settings()) {
        if (setting.mirror == nullptr)
            continue;
        const std::int32_t value = setting.mirrored_at_start ? load_number(setting.field) : 0;
        store(status_block().*setting.mirror, static_cast<std::uint8_t>(value));
    }
}

} // namespace fieldrelaybox
