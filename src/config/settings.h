// The table of settings: every key of the configuration file with its field of the record. One
// table drives the reader and the writer of the file.
#pragma once

#include "fieldrelaybox/shared_memory.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace fieldrelaybox {

enum class SettingKind : std::uint8_t {
    boolean,     // one byte, 0 or 1: any number but 0 is 1
    integer,     // signed 32-bit
    byte,        // number, low 8 bits
    text,        // written bare
    quoted_text, // written in double quotes; loses every double quote when read
};

struct Setting {
    std::string_view key;
    SettingKind kind;
    std::uint16_t offset;     // in ConfigRecord
    std::uint16_t capacity;   // of the field in bytes
    std::string_view comment; // lines before the key in the file, with their line ends
};

// In the order of the file.
std::span<const Setting> settings();

// Null when there is no such key.
const Setting* find_setting(std::string_view key);

// Converts value and stores it in the setting's field of record. Not for the live record while
// other threads run.
void read_setting(const Setting& setting, const char* value, ConfigRecord& record);

// The setting's line of the file, "key=value" without a line end.
std::string format_setting(const Setting& setting, const ConfigRecord& record);

} // namespace fieldrelaybox
