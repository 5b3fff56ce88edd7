// The configuration report: the settings that an app shows on its screens, and a few live states,
// as one JSON object. Which settings these are, and where they stand, is told in their rows.
#pragma once

#include "fieldrelaybox/shared_memory.h"

#include <string>
#include <string_view>

namespace fieldrelaybox {

// The report for record. interfaces: the JSON objects of the network interfaces, separated by
// commas; they become the last member. Texts are not escaped: one that holds a double quote makes
// the report invalid JSON.
std::string build_configuration_report(const ConfigRecord& record, std::string_view interfaces);

} // namespace fieldrelaybox
