#include "config/settings.h"

#include "config/settings_table.h"
#include "core/text.h"

#include <algorithm>

namespace fieldrelaybox {

namespace {

// Cut first, so quotes count against the capacity.
void put_without_quotes(const Setting& setting, const char* value, ConfigRecord& record) {
    put_text(record, setting.field, value);
    std::string text(text_in(record, setting.field));
    std::erase(text, '"');
    put_text(record, setting.field, text);
}

std::string format_value(const Setting& setting, const ConfigRecord& record) {
    if (!is_text(setting.kind))
        return std::to_string(number_in(record, setting.field));
    const std::string text(text_in(record, setting.field));
    return setting.kind == SettingKind::quoted_text ? '"' + text + '"' : text;
}

bool is_unset(const Setting& setting, const ConfigRecord& record) {
    return is_text(setting.kind) ? text_in(record, setting.field).empty()
                                 : number_in(record, setting.field) == 0;
}

} // namespace

std::span<const Setting> settings() {
    return settings_table;
}

const Setting* find_setting(std::string_view key) {
    const auto* found = std::find_if(settings_table.begin(), settings_table.end(),
                                     [key](const Setting& setting) { return setting.key == key; });
    return found == settings_table.end() ? nullptr : found;
}

std::vector<ParameterPart> settings_of_parameter(std::string_view name) {
    std::vector<ParameterPart> parts;
    for (const Setting& setting : all_rows) {
        for (const ParameterValue& parameter : setting.parameters) {
            if (parameter.value > 0 && parameter.name == name)
                parts.push_back({&setting, parameter.value});
        }
    }
    std::stable_sort(
        parts.begin(), parts.end(),
        [](const ParameterPart& a, const ParameterPart& b) { return a.value < b.value; });
    return parts;
}

void read_setting(const Setting& setting, const char* value, ConfigRecord& record) {
    switch (setting.kind) {
    case SettingKind::boolean:
        put_number(record, setting.field, parse_decimal(value) != 0 ? 1 : 0);
        break;
    case SettingKind::integer:
    case SettingKind::byte:
        put_number(record, setting.field, parse_decimal(value));
        break;
    case SettingKind::text:
        put_text(record, setting.field, value);
        break;
    case SettingKind::quoted_text:
        put_without_quotes(setting, value, record);
        break;
    }
}

std::string format_setting(const Setting& setting, const ConfigRecord& record) {
    return std::string(setting.key) + '=' + format_value(setting, record);
}

void set_defaults(DefaultTime time, ConfigRecord& record) {
    for (const Setting& setting : settings_table) {
        const SettingDefault& initial = setting.initial;
        if (initial.time == time &&
            (time == DefaultTime::before_loading || is_unset(setting, record)))
            read_setting(setting, std::string(initial.value).c_str(), record);
    }
}

} // namespace fieldrelaybox
