// The rows of all settings at compile time, in the order of the file, and what holds for each.
#pragma once

#include "config/settings_displays.h"
#include "config/settings_networks.h"
#include "config/settings_rc.h"
#include "config/settings_streams.h"

#include <algorithm>

#undef SETTING
#undef ENABLED_OR_DISABLED

namespace fieldrelaybox {

template<std::size_t... Counts>
constexpr auto join_settings(const std::array<Setting, Counts>&... groups) {
    std::array<Setting, (Counts + ...)> joined{};
    auto place = joined.begin();
    ((place = std::copy(groups.begin(), groups.end(), place)), ...);
    return joined;
}

// The file's order.
inline constexpr std::array settings_table =
    join_settings(stream_settings, sound_settings, rc_settings, stream_target_settings,
                  network_settings, display_settings, server_settings);

// The row of a key; an unknown key does not compile.
consteval const Setting& setting_row(std::string_view key) {
    const auto* row = std::find_if(settings_table.begin(), settings_table.end(),
                                   [key](const Setting& setting) { return setting.key == key; });
    return *row;
}

// Both halves of a resolution stand for the same value of an app.
constexpr bool same_value(const Setting& a, const Setting& b, const ParameterValue& one) {
    const bool halves = a.conversion == Conversion::resolution_width &&
                        b.conversion == Conversion::resolution_height;
    return !one.name.empty() && !halves &&
           std::any_of(b.parameters.begin(), b.parameters.end(), [&](const ParameterValue& other) {
               return one.name == other.name && one.value == other.value;
           });
}

constexpr bool can_stand_together(const Setting& a, const Setting& b) {
    return a.key != b.key && a.field.offset != b.field.offset &&
           (a.report.place < 0 ||
            (a.report.member != b.report.member && a.report.place != b.report.place)) &&
           std::none_of(a.parameters.begin(), a.parameters.end(),
                        [&](const ParameterValue& one) { return same_value(a, b, one); });
}

inline constexpr std::array all_rows = join_settings(settings_table, unsaved_settings);

constexpr bool no_name_stands_twice() {
    for (const Setting& setting : all_rows) {
        if (!std::all_of(all_rows.begin(), &setting,
                         [&](const Setting& other) { return can_stand_together(other, setting); }))
            return false;
    }
    return true;
}

constexpr bool is_parameter(const ParameterValue& parameter) {
    return !parameter.name.empty() && parameter.value >= 1 && parameter.value <= 12;
}

constexpr bool is_usable(const Setting& row) {
    return !row.label.empty() && !row.help.empty() && is_parameter(row.parameters[0]) &&
           (row.parameters[1].name.empty() || is_parameter(row.parameters[1])) &&
           (row.field.type == FieldType::text) == is_text(row.kind) &&
           (row.field.type == FieldType::integer) == (row.kind == SettingKind::integer);
}

constexpr bool stands_in_file(const Setting& row) {
    return !row.comment.empty() && (row.report.place > 0 || row.report.place == not_reported.place);
}

static_assert(no_name_stands_twice(),
              "a key, a report member or its place, or a parameter's value stands twice");
static_assert(std::all_of(all_rows.begin(), all_rows.end(), is_usable),
              "a row lacks words or a parameter, or its kind is not its field's");
static_assert(std::all_of(settings_table.begin(), settings_table.end(), stands_in_file),
              "a row lacks its comment in the file or its place in the report");
static_assert(settings_table.back().key == "server_devid",
              "a saved file is whole when it holds this line: nothing comes after it");

} // namespace fieldrelaybox
