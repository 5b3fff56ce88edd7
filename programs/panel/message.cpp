#include "panel/message.h"

#include <algorithm>

namespace panel {
namespace {

using fieldrelaybox::Bytes;

constexpr std::size_t time_at = 2;
constexpr std::size_t media_header_size = 10;
constexpr std::string_view reply_begin = R"({"cmd":)"; // names in it are not escaped

SharedMessage make(std::size_t header_size, MessageKind kind, Bytes content, std::uint8_t flags,
                   std::int64_t time_us) {
    auto message = std::make_shared<Message>();
    auto& bytes = message->room_and_bytes;
    bytes.resize(room_before_message + header_size + content.size());
    std::uint8_t* const header = bytes.data() + room_before_message;
    header[0] = static_cast<std::uint8_t>(kind);
    if (header_size == media_header_size) {
        const auto time = static_cast<std::uint64_t>(time_us);
        header[1] = flags;
        fieldrelaybox::put_u32le(header + time_at, static_cast<std::uint32_t>(time & 0xFFFFFFFF));
        fieldrelaybox::put_u32le(header + time_at + 4, static_cast<std::uint32_t>(time >> 32));
    }
    std::ranges::copy(content, header + header_size);
    return message;
}

Bytes bytes_of_text(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

} // namespace

Bytes bytes_of(const Message& message) {
    return Bytes(message.room_and_bytes).subspan(room_before_message);
}

bool is_json_text(Bytes payload) {
    return !payload.empty() && payload[0] == '{';
}

bool is_report(Bytes payload) {
    const auto text =
        std::string_view(reinterpret_cast<const char*>(payload.data()), payload.size());
    return is_json_text(payload) && !text.starts_with(reply_begin);
}

SharedMessage make_status_message(Bytes payload) {
    return make(1, MessageKind::status, payload, 0, 0);
}

SharedMessage make_picture_message(Bytes access_unit, std::uint8_t flags, std::int64_t time_us) {
    return make(media_header_size, MessageKind::picture, access_unit, flags, time_us);
}

SharedMessage make_sound_message(Bytes frame, std::int64_t time_us) {
    return make(media_header_size, MessageKind::sound, frame, 0, time_us);
}

SharedMessage make_panel_message(std::string_view json) {
    return make(1, MessageKind::panel, bytes_of_text(json), 0, 0);
}

} // namespace panel
