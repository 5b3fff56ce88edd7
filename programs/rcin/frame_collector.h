// Finds the frames in the bytes of a serial line: it knows how long frames are, whether it is in
// step with them and when the line fell silent. What is in a frame its protocol knows.
#pragma once

#include "core/bytes.h"
#include "rcin/frame.h"
#include "rcin/input.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace rcin {

struct SerialProtocol {
    // The length of a frame that begins with these bytes, at most longest_serial_frame: 0 where
    // none does, more than there are while too few have come to tell. There is at least one byte.
    std::size_t (*frame_length)(fieldrelaybox::Bytes begin);
    // Whether bytes of that length are a frame.
    bool (*is_valid)(fieldrelaybox::Bytes frame);
    // Of any bytes: a whole valid frame's values, nothing where there are no new ones.
    std::optional<Frame> (*decode)(fieldrelaybox::Bytes frame);
    // Null where a checksum tells frames from garbage. Elsewhere one tells so little that out of
    // step two in a row count, and only when they say nearly the same or a pause follows: whether
    // they do, of two valid ones.
    bool (*are_alike)(fieldrelaybox::Bytes frame, fieldrelaybox::Bytes next);
};

inline constexpr std::size_t longest_serial_frame = 64;
inline constexpr std::int64_t line_silence_us = 3000; // all frames are sent without such a pause

struct FrameCollector {
    SerialProtocol protocol;
    // What came last, frames that were handed over included: a false one may have covered the
    // beginning of a true one.
    std::vector<std::uint8_t> bytes;
    std::size_t next = 0;  // in bytes: what lies before is handed over or was garbage
    std::size_t pause = 0; // in bytes: the line was silent before this one, no frame reaches across
    bool in_step = false;
    std::int64_t last_us = 0; // when bytes came last
};

// Takes in the next byte, read at now_us, and hands over the values of the frames that it
// completes. How the bytes were cut into reads makes no difference.
void take_byte(FrameCollector& collector, std::uint8_t byte, std::int64_t now_us,
               const TakeFrame& take);

// A read at now_us found nothing. Only this proves a silence: bytes that are read late may well
// have come in time.
void take_nothing(FrameCollector& collector, std::int64_t now_us, const TakeFrame& take);

// When to read again though nothing comes, or never_us.
std::int64_t silence_due(const FrameCollector& collector);

// A byte was damaged: the frame that it was in is none.
void spoil(FrameCollector& collector);

} // namespace rcin
