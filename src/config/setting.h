// A row of the settings: all that the box knows about one of them. The rows themselves stand in
// settings_*.h, by topic; settings_table.h joins them. The file reader and writer, the report, the
// apps' parameters, the documents and the client go by them.
#pragma once

#include "config/record_fields.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace fieldrelaybox {

enum class SettingKind : std::uint8_t {
    boolean,     // one byte, 0 or 1: any number but 0 is 1
    integer,     // signed 32-bit
    byte,        // number, low 8 bits
    text,        // written bare
    quoted_text, // written in double quotes; loses every double quote when read
};

// What it is about, for pages that show settings in groups.
enum class Topic : std::uint8_t { streams, sound, rc, networks, displays, server };

// How an app's text becomes the content of the field.
enum class Conversion : std::uint8_t {
    by_kind,        // switch: 1 for "1" and "true", else 0; number: decimal; text: cut to the field
    nonzero,        // 1 for a number other than 0, else 0
    interface_code, // name of the interface; an unknown code changes nothing
    band,           // 2 for "2.4", 5 for "5"; anything else changes nothing
    resolution_width, // of a name of setting_updates.h; anything else is the last of them
    resolution_height,
};

// When a default is put in. Everything else starts at 0 or empty.
enum class DefaultTime : std::uint8_t {
    never,
    before_loading, // without a file, too
    after_loading,  // where a file left 0 or nothing
};

struct SettingDefault {
    DefaultTime time = DefaultTime::never;
    std::string_view value{};
    std::string_view words{}; // for people, in place of a value that is no use to them
};

// Of a number, both included; for people and clients, the box takes any. None when both are 0.
struct Limits {
    std::int32_t lowest = 0;
    std::int32_t highest = 0;
};

// The member of the configuration report. Members are reported in the order of place.
struct ReportPlace {
    std::string_view member;
    int place = 0;
};

inline constexpr ReportPlace not_reported{"", -1};

// An app sets the setting by this value of the parameter of this name.
struct ParameterValue {
    std::string_view name;
    int value = 0;           // 1 is "value", 2 is "value2" and so on
    std::string_view word{}; // for the value in a client's usage line; empty where the kind says it
};

struct Setting {
    Topic topic{};
    std::string_view key;
    SettingKind kind{};
    RecordField field{};

    // Lines before the key in the file, with their line ends.
    std::string_view comment{};

    // For people: a name, what it means, what a number counts, what a value stands for. Choices are
    // values with their meanings, "1 inverse|0 normal". `Backquotes` stand around what is typed.
    std::string_view label{};
    std::string_view help{};
    std::string_view unit{};
    std::string_view choices{};
    Limits limits{};

    SettingDefault initial{};
    std::string_view sample{}; // in the sample file; empty is 0 or nothing

    ReportPlace report{};
    std::array<ParameterValue, 2> parameters{};
    Conversion conversion = Conversion::by_kind;

    // Byte of the status block that follows a switch, and its start: as the setting, or 0.
    std::uint8_t StatusBlock::*mirror = nullptr;
    bool mirrored_at_start = true;

    // Run after a save of the changed setting, in this order. "%d" stands for its number.
    std::array<std::string_view, 3> commands{};

    // The RC input process is restarted by the commands: its state byte is cleared after them.
    bool restarts_rc_input = false;
};

constexpr bool is_text(SettingKind kind) {
    return kind == SettingKind::text || kind == SettingKind::quoted_text;
}

} // namespace fieldrelaybox
