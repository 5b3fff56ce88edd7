// From video datagrams to whole pictures, and the last ones for whoever comes to look.
#pragma once

#include "core/bytes.h"
#include "panel/h264_units.h"
#include "panel/message.h"
#include "panel/times.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace panel {

// The end of a picture is known when the next begins; the last one of a pause ends by itself.
inline constexpr std::int64_t picture_wait_us = 80'000;
inline constexpr std::size_t largest_picture = 1'000'000; // a larger one is left out, and damaged

// picture: a message of that kind, ready to be sent.
using TakePicture = std::function<void(const SharedMessage& picture, std::uint8_t flags)>;

struct PictureCollector {
    std::vector<std::uint8_t> access_unit; // empty: what comes has no beginning
    std::size_t scanned = 0;               // how far it was looked through for a slice
    std::int64_t began_us = 0;             // of its first datagram
    std::int64_t last_us = 0;
    bool has_slice = false;
    bool damaged = false;
    bool awaits_unit = false; // behind a loss the rest of a cut unit is left out
    bool follows_gap = false;
    bool lost = false; // something since the picture before, so the next one follows a gap
    std::uint64_t pictures = 0;
    std::uint64_t damaged_pictures = 0;
};

// A picture begins with a datagram that begins with a start code and a unit that opens an access
// unit (delimiter, parameter set, SEI, or a slice whose first macroblock is 0), once the one before
// has a slice. What comes before the first is left out, and so is the rest of a unit that a loss
// has cut: a decoder makes up for what is missing, but not for what does not belong there.
// gap: datagrams before this one were lost.
void take_video(PictureCollector& collector, fieldrelaybox::Bytes datagram, std::int64_t came_us,
                bool gap, const TakePicture& take);
void pass_time(PictureCollector& collector, std::int64_t now_us, const TakePicture& take);
std::int64_t due_us(const PictureCollector& collector);

// The last group of pictures, from its key picture on; nothing when it grew beyond what is kept.
struct RecentPictures {
    std::vector<SharedMessage> pictures;
    std::size_t bytes = 0;
};

inline constexpr std::size_t kept_picture_bytes = 4'000'000;

void keep_picture(RecentPictures& recent, const SharedMessage& picture, std::uint8_t flags);

} // namespace panel
