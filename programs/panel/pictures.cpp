#include "panel/pictures.h"

#include <algorithm>
#include <utility>

namespace panel {
namespace {

using fieldrelaybox::Bytes;

// The datagrams of a picture come in one go: what comes later, behind a loss, is of another one.
constexpr std::int64_t same_picture_us = 15'000;
constexpr std::size_t most_kept_pictures = 1'000;

void clear_picture(PictureCollector& collector) {
    collector.access_unit.clear();
    collector.scanned = 0;
    collector.has_slice = false;
    collector.damaged = false;
    collector.awaits_unit = false;
}

// Nothing of it goes on; the next picture follows a gap.
void leave_out(PictureCollector& collector) {
    if (collector.has_slice)
        ++collector.damaged_pictures;
    collector.lost = true;
    clear_picture(collector);
}

std::uint8_t flags_of(const PictureCollector& collector) {
    return static_cast<std::uint8_t>((is_key_picture(collector.access_unit) ? picture_is_key : 0) |
                                     (collector.damaged ? picture_is_damaged : 0) |
                                     (collector.follows_gap ? picture_follows_gap : 0));
}

void finish(PictureCollector& collector, const TakePicture& take) {
    if (!collector.has_slice)
        return leave_out(collector);
    ++collector.pictures;
    collector.damaged_pictures += collector.damaged ? 1 : 0;
    const std::uint8_t flags = flags_of(collector);
    const SharedMessage picture =
        make_picture_message(collector.access_unit, flags, collector.began_us);
    clear_picture(collector);
    take(picture, flags);
}

void begin(PictureCollector& collector, std::int64_t came_us) {
    collector.began_us = came_us;
    collector.follows_gap = std::exchange(collector.lost, false);
}

void note_gap(PictureCollector& collector, std::int64_t came_us, const TakePicture& take) {
    collector.lost = true;
    if (collector.access_unit.empty())
        return;
    collector.damaged = true;
    collector.awaits_unit = true;
    if (came_us - collector.last_us > same_picture_us)
        finish(collector, take);
}

void look_for_slice(PictureCollector& collector) {
    const Bytes unit = collector.access_unit;
    for (std::size_t at = next_unit(unit, collector.scanned); at < unit.size();
         at = next_unit(unit, at))
        collector.has_slice = collector.has_slice || is_slice(unit_type(unit[at]));
    collector.scanned = unit.size() - std::min<std::size_t>(unit.size(), start_code_size);
}

void append(PictureCollector& collector, Bytes datagram, std::int64_t came_us) {
    if (collector.access_unit.size() + datagram.size() > largest_picture)
        return leave_out(collector);
    collector.access_unit.insert(collector.access_unit.end(), datagram.begin(), datagram.end());
    collector.last_us = came_us;
    if (!collector.has_slice)
        look_for_slice(collector);
}

} // namespace

void take_video(PictureCollector& collector, Bytes datagram, std::int64_t came_us, bool gap,
                const TakePicture& take) {
    if (gap)
        note_gap(collector, came_us, take);
    const bool opens = opens_access_unit(datagram);
    if (opens && collector.has_slice)
        finish(collector, take);
    if (collector.access_unit.empty()) {
        if (!opens) {
            collector.lost = true;
            return;
        }
        begin(collector, came_us);
    }
    if (collector.awaits_unit && first_unit(datagram) == datagram.size())
        return;
    collector.awaits_unit = false;
    append(collector, datagram, came_us);
}

void pass_time(PictureCollector& collector, std::int64_t now_us, const TakePicture& take) {
    if (now_us >= due_us(collector))
        finish(collector, take);
}

std::int64_t due_us(const PictureCollector& collector) {
    return collector.has_slice ? collector.last_us + picture_wait_us : never_us;
}

void keep_picture(RecentPictures& recent, const SharedMessage& picture, std::uint8_t flags) {
    const bool begins = (flags & picture_is_key) != 0 && (flags & picture_is_damaged) == 0;
    if (begins)
        recent = {};
    else if (recent.pictures.empty())
        return;
    recent.pictures.push_back(picture);
    recent.bytes += picture->room_and_bytes.size();
    if (recent.bytes > kept_picture_bytes || recent.pictures.size() > most_kept_pictures)
        recent = {};
}

} // namespace panel
