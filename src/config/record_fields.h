// A field of the configuration record as data: what the tables of settings and report members name
// and what the file, the report and the apps' updates go through.
#pragma once

#include "config/config_record.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

namespace fieldrelaybox {

enum class FieldType : std::uint8_t { byte, integer, text };

struct RecordField {
    FieldType type = FieldType::byte;
    std::uint16_t offset = 0;   // in ConfigRecord
    std::uint16_t capacity = 0; // bytes
};

template<class Member> constexpr FieldType field_type() {
    if constexpr (std::is_array_v<Member>)
        return FieldType::text;
    else if constexpr (sizeof(Member) == 1)
        return FieldType::byte;
    else
        return FieldType::integer;
}

#define RECORD_FIELD(member)                                                                       \
    RecordField {                                                                                  \
        field_type<decltype(ConfigRecord::member)>(), offsetof(ConfigRecord, member),              \
            sizeof(ConfigRecord::member)                                                           \
    }

// A record that no other thread touches, such as a copy of the live one. Here and below a number
// keeps its low 8 bits in a one-byte field, and a text is cut to its capacity.
std::int32_t number_in(const ConfigRecord& record, const RecordField& field);
std::string_view text_in(const ConfigRecord& record, const RecordField& field);
void put_number(ConfigRecord& record, const RecordField& field, std::int32_t value);
void put_text(ConfigRecord& record, const RecordField& field, std::string_view text);

// The live record.
std::int32_t load_number(const RecordField& field);
void store_number(const RecordField& field, std::int32_t value);
void store_text(const RecordField& field, std::string_view text);

} // namespace fieldrelaybox
