// The rows of settings as JSON, for programs and pages that are not C++.
#pragma once

#include <string>

namespace settings_list {

// An object with two lists: "settings" in the order of the file, and "unsaved", which apps can set
// but which are not in the file. Members that say nothing are left out. A line per
// setting.
std::string settings_as_json();

} // namespace settings_list
