// What is sent to browsers: made once, shared by all who get it. docs/panel.md has the layouts.
#pragma once

#include "core/bytes.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace panel {

// The first byte of a WebSocket message to the page.
enum class MessageKind : std::uint8_t {
    status = 0,  // a record or a JSON reply, as the box sent it
    picture = 1, // u8 flags, u64 time in us, one access unit as Annex B
    sound = 2,   // u8 0, u64 time in us, one ADTS frame
    panel = 3,   // JSON: what the panel itself has to say
};

// Flags of a picture.
inline constexpr std::uint8_t picture_is_key = 1;      // a decoder can begin here
inline constexpr std::uint8_t picture_is_damaged = 2;  // something in it is missing
inline constexpr std::uint8_t picture_follows_gap = 4; // something between it and the one before is

// The library writes its own header there; whoever sends checks that it is enough.
inline constexpr std::size_t room_before_message = 32;

struct Message {
    std::vector<std::uint8_t> room_and_bytes;
};

using SharedMessage = std::shared_ptr<const Message>;

// Without the room.
fieldrelaybox::Bytes bytes_of(const Message& message);

// Of a status payload: JSON rather than a record, and the report of the settings (or anything else
// that is no reply to a command).
bool is_json_text(fieldrelaybox::Bytes payload);
bool is_report(fieldrelaybox::Bytes payload);

SharedMessage make_status_message(fieldrelaybox::Bytes payload);

// time_us: when the first byte came, on the clock that all times of the panel are of.
SharedMessage make_picture_message(fieldrelaybox::Bytes access_unit, std::uint8_t flags,
                                   std::int64_t time_us);
SharedMessage make_sound_message(fieldrelaybox::Bytes frame, std::int64_t time_us);
SharedMessage make_panel_message(std::string_view json);

} // namespace panel
