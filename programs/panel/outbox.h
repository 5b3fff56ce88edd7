// What waits to be sent to one browser. It never grows beyond its bound: who reads slowly loses
// pictures up to the next key picture, and of what the box repeats the older.
#pragma once

#include "panel/message.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

namespace panel {

inline constexpr std::size_t outbox_bytes = 2'000'000;
inline constexpr std::size_t outbox_status_bytes =
    256'000; // of these, for all but pictures and sound

// Pictures that waited for so long are left out as soon as a newer key picture comes, and sound
// that waited for so long with no picture before it: nobody wants to see the past.
inline constexpr std::int64_t media_wait_us = 300'000;

// A newer message of the same topic takes the place of an older one: a record's code (and link),
// the report of the settings, or the panel's state. Nothing for replies: each is wanted.
std::optional<unsigned> topic_of(const SharedMessage& message);

struct WaitingStatus {
    SharedMessage message;
    std::optional<unsigned> topic;
};

struct Outbox {
    std::deque<WaitingStatus> status; // records, replies, what the panel says: these go first
    std::deque<SharedMessage> media;  // pictures and sound, in order
    std::size_t status_bytes = 0;
    std::size_t media_bytes = 0; // without the first group
    std::size_t group_left = 0;  // so many pictures in front are of the first group
    bool awaits_key = true; // pictures are left out until one comes that a decoder can begin with
    std::uint64_t pictures_left_out = 0;
};

// A reader that comes back sees the newest of each topic. Records make room for JSON. False when
// replies alone are beyond the bound: the browser reads nothing at all and is to be sent away.
bool put_status(Outbox& outbox, const SharedMessage& message);

// What the panel has to say once: no state takes its place.
bool put_told(Outbox& outbox, const SharedMessage& message);

// Times of media go forward.
void put_picture(Outbox& outbox, const SharedMessage& picture, std::uint8_t flags);
void put_sound(Outbox& outbox, const SharedMessage& frame);

// What a browser that begins to look gets first, whole: it is kept and shared with everybody, so it
// does not count. To an outbox without pictures; the first one is a key picture.
void put_first_group(Outbox& outbox, const std::vector<SharedMessage>& pictures);

// What waits is of another box: all that has a topic.
void drop_records(Outbox& outbox);

// Pictures and sound are not wanted any more.
void drop_media(Outbox& outbox);

// What is to be sent next, taken out; null when there is nothing.
SharedMessage take_next(Outbox& outbox);

} // namespace panel
