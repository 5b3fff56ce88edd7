// Messages from the box to the registered apps: a 12-byte header and a payload, from port 4242.
#pragma once

#include "apps/record_codes.h"
#include "core/bytes.h"
#include "core/segments.h"
#include "core/sockets.h"

#include <array>
#include <cstdint>

namespace fieldrelaybox {

enum class MessageKind : std::uint8_t { status = 0, video = 1, audio = 2 };

inline constexpr std::size_t message_header_size = 12;
static_assert(message_header_size == header_room);

// The socket that messages leave from; set once by init_device_discovery. While it is full because
// of an app behind a slow network, each app has one of its own (app_sockets.h).
void set_message_socket(int socket);

// Sends payload to every registered app that takes this kind. A status message is dropped while a
// video or audio message is being sent. Never waits: what the network of an app cannot take now is
// lost to that app. payload must not be larger than a datagram takes (65,495
// bytes).
void post_message(Bytes payload, MessageKind kind);

// The same for each datagram of a run (first_run) of video or audio, in one message to each app
// where that can be. Writes their headers into the room before them.
void post_run(Datagrams run, MessageKind kind);

// Posts the 7-byte status record code, bytes.
void post_status_bytes(RecordCode code, const std::array<std::uint8_t, 6>& bytes);

// Posts the 7-byte status record code, then three 16-bit values.
void post_status_words(RecordCode code, std::int16_t first, std::int16_t second,
                       std::int16_t third);

// One datagram from port 4242, as it is.
void send_to_app(Bytes bytes, const sockaddr_in& app);

} // namespace fieldrelaybox
