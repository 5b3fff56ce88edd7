#include "config/record_fields.h"

#include "core/text.h"

#include <cstring>

namespace fieldrelaybox {

namespace {

char* bytes_in(ConfigRecord& record, const RecordField& field) {
    return reinterpret_cast<char*>(&record) + field.offset;
}

const char* bytes_in(const ConfigRecord& record, const RecordField& field) {
    return reinterpret_cast<const char*>(&record) + field.offset;
}

std::uint8_t& live_byte(const RecordField& field) {
    return *reinterpret_cast<std::uint8_t*>(bytes_in(config_record(), field));
}

std::int32_t& live_integer(const RecordField& field) {
    return *reinterpret_cast<std::int32_t*>(bytes_in(config_record(), field));
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

void put_number(ConfigRecord& record, const RecordField& field, std::int32_t value) {
    if (field.type == FieldType::byte)
        *bytes_in(record, field) = static_cast<char>(value & 0xFF);
    else
        std::memcpy(bytes_in(record, field), &value, sizeof value);
}

void put_text(ConfigRecord& record, const RecordField& field, std::string_view text) {
    copy_text(bytes_in(record, field), field.capacity, text);
}

std::int32_t load_number(const RecordField& field) {
    return field.type == FieldType::byte ? load(live_byte(field)) : load(live_integer(field));
}

void store_number(const RecordField& field, std::int32_t value) {
    if (field.type == FieldType::byte)
        store(live_byte(field), static_cast<std::uint8_t>(value & 0xFF));
    else
        store(live_integer(field), value);
}

void store_text(const RecordField& field, std::string_view text) {
    store_text(bytes_in(config_record(), field), field.capacity, text);
}

} // namespace fieldrelaybox
