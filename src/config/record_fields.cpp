#include "config/record_fields.h"

#include "core/text.h"

#include <cstring>

namespace fieldrelaybox {

namespace {

char* live_bytes(const RecordField& field) {
    return reinterpret_cast<char*>(&config_record()) + field.offset;
}

const char* bytes_in(const ConfigRecord& record, const RecordField& field) {
    return reinterpret_cast<const char*>(&record) + field.offset;
}

} // namespace

std::int32_t number_in(const ConfigRecord& record, const RecordField& field) {
    if (field.type == FieldType::byte)
        return static_cast<std::uint8_t>(*bytes_in(record, field));
    std::int32_t value = 0;
    std::memcpy(&value, bytes_in(record, field), sizeof value);
    return value;
}

std::string_view text_in(const ConfigRecord& record, const RecordField& field) {
    return text_of(bytes_in(record, field), field.capacity);
}

void store_number(const RecordField& field, std::int32_t value) {
    if (field.type == FieldType::byte)
        store(*reinterpret_cast<std::uint8_t*>(live_bytes(field)),
              static_cast<std::uint8_t>(value & 0xFF));
    else
        store(*reinterpret_cast<std::int32_t*>(live_bytes(field)), value);
}

void store_text(const RecordField& field, std::string_view text) {
    store_text(live_bytes(field), field.capacity, text);
}

} // namespace fieldrelaybox
