// What an owner would call a mistake in the value of a setting, in words for people.
#pragma once

#include "config/setting.h"

#include <functional>
#include <string>

namespace fieldrelaybox {

using Tell = std::function<void(const std::string&)>;

// Tells each fault of value, as the settings file has it, and what becomes of it. Nothing, and 0
// for a number, stand for "not set" and are no faults. Names and pass phrases are never repeated.
void tell_value_faults(const Setting& setting, const std::string& value, const Tell& tell);

} // namespace fieldrelaybox
