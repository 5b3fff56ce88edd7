// The configuration report: every setting and a few live states as one JSON object, by which an app
// fills its settings screens. Which settings it shows, and where, stands in their rows.
#pragma once

#include "config/record_fields.h"

#include <span>
#include <string>
#include <string_view>

namespace fieldrelaybox {

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

// In the order of the report.
std::span<const ReportMember> report_members();

// The report for record. interfaces: the JSON objects of the network interfaces, separated by
// commas; they become the last member. Texts are not escaped: one that holds a double quote makes
// the report invalid JSON.
std::string build_configuration_report(const ConfigRecord& record, std::string_view interfaces);

} // namespace fieldrelaybox
