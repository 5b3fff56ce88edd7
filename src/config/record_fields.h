// A field of the configuration record as data, for the tables that name fields: the report and the
// parameters that the apps can update.
#pragma once

#include "config/config_record.h"

#include <cstddef>
#include <cstdint>
#include <string>
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

// Reading a record that no other thread touches, such as a copy of the live one.
std::int32_t number_in(const ConfigRecord& record, const RecordField& field);
std::string_view text_in(const ConfigRecord& record, const RecordField& field);

// Writing the live record. A number keeps its low 8 bits in a one-byte field.
void store_number(const RecordField& field, std::int32_t value);
void store_text(const RecordField& field, std::string_view text);

} // namespace fieldrelaybox
