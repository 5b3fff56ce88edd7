#include "config/config_report.h"

#include "config/record_fields.h"

#include "config/interface_codes.h"
#include "config/settings_table.h"

#include <algorithm>
#include <array>

namespace fieldrelaybox {

namespace {

enum class ReportFormat : std::uint8_t {
    number,
    text,           // as stored, not escaped
    interface_code, // 0, 1 or 2 in quotes, see interface_codes.h
};

struct ReportMember {
    std::string_view name;
    ReportFormat format;
    RecordField field;
    int place; // in the order of the report
};

// Members that are no settings.
constexpr std::array states{
    ReportMember{"apstate", ReportFormat::number, RECORD_FIELD(apstate), 370},
    ReportMember{"version", ReportFormat::text, RECORD_FIELD(version), 500},
};

constexpr ReportFormat report_format(const Setting& setting) {
    if (setting.conversion == Conversion::interface_code)
        return ReportFormat::interface_code;
    return is_text(setting.kind) ? ReportFormat::text : ReportFormat::number;
}

constexpr bool is_reported(const Setting& setting) {
    return setting.report.place > 0;
}

constexpr std::size_t reported_settings =
    std::count_if(settings_table.begin(), settings_table.end(), is_reported);

constexpr auto make_table() {
    std::array<ReportMember, reported_settings + states.size()> members{};
    auto* end = std::copy(states.begin(), states.end(), members.begin());
    for (const Setting& setting : settings_table) {
        if (is_reported(setting))
            *end++ = {setting.report.member, report_format(setting), setting.field,
                      setting.report.place};
    }
    std::sort(members.begin(), members.end(),
              [](const ReportMember& a, const ReportMember& b) { return a.place < b.place; });
    return members;
}

constexpr auto table = make_table();

constexpr bool no_member_stands_twice() {
    for (const ReportMember& member : table) {
        if (std::any_of(table.begin(), &member, [&](const ReportMember& other) {
                return other.name == member.name || other.place == member.place;
            }))
            return false;
    }
    return true;
}

static_assert(no_member_stands_twice());

std::string format_value(const ReportMember& member, const ConfigRecord& record) {
    if (member.format == ReportFormat::number)
        return std::to_string(number_in(record, member.field));
    const std::string_view text = text_in(record, member.field);
    std::string value{'"'};
    if (member.format == ReportFormat::text)
        value += text;
    else
        value += std::to_string(code_of_interface(text));
    return value + '"';
}

} // namespace

std::string build_configuration_report(const ConfigRecord& record, std::string_view interfaces) {
    std::string report{'{'};
    for (const ReportMember& member : table) {
        report += '"';
        report += member.name;
        report += "\":" + format_value(member, record) + ',';
    }
    report += "\"ifaces\":[";
    report += interfaces;
    return report + "]}";
}

} // namespace fieldrelaybox
