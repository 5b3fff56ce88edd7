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

constexpr bool no_name_stands_twice() {
    for (const Setting& setting : settings_table) {
        if (!std::all_of(settings_table.begin(), &setting,
                         [&](const Setting& other) { return can_stand_together(other, setting); }))
            return false;
    }
    return true;
}

constexpr bool is_complete(const Setting& row) {
    const ParameterValue& first = row.parameters[0];
    return !row.comment.empty() && !row.label.empty() && !row.help.empty() &&
           row.report.place != 0 && !first.name.empty() && first.value >= 1 && first.value <= 12 &&
           (row.field.type == FieldType::text) == is_text(row.kind) &&
           (row.field.type == FieldType::integer) == (row.kind == SettingKind::integer);
}

static_assert(no_name_stands_twice(),
              "a key, a report member or its place, or a parameter's value stands twice");
static_assert(std::all_of(settings_table.begin(), settings_table.end(), is_complete),
              "a row lacks words, a parameter or a report member, or its kind is not its field's");

} // namespace fieldrelaybox
