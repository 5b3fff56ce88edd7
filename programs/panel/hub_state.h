// What the hub knows: its box, its browsers, what was said last. The parts of the hub share it.
#pragma once

#include "panel/box_link.h"
#include "panel/holds.h"
#include "panel/message.h"
#include "panel/moving_mark.h"
#include "panel/outbox.h"
#include "panel/pictures.h"
#include "panel/times.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>

namespace panel {

inline constexpr std::size_t most_browsers = 64;
inline constexpr std::size_t longest_record = 256; // longer ones are none

// A record that is older says nothing about now: who comes does not get it.
inline constexpr std::int64_t record_time_us = 4 * second_us;
// So long pictures still come when nobody looks any more: a page that is loaded anew is quick.
inline constexpr std::int64_t media_pause_us = 5 * second_us;

struct Browser {
    Outbox outbox;
    bool watches = false;
    bool listens = false;
    std::array<BrowserId, held_count> refused_by{}; // whom it was told of
};

struct NewestRecord {
    SharedMessage message;
    std::int64_t at_us = 0;
};

struct Hub {
    BoxLink link;
    PictureCollector collector;
    RecentPictures recent;
    Holds holds;
    std::map<BrowserId, Browser> browsers;
    BrowserId last_id = 0;
    std::map<unsigned, NewestRecord> records; // by topic, see topic_of
    SharedMessage report;                     // the newest of the settings; null: none

    // Called when there is something to send to it, perhaps before add_browser has returned it.
    std::function<void(BrowserId)> has_messages;
    // Perhaps again and again; not to be removed within the call.
    std::function<void(BrowserId)> is_to_be_sent_away;

    std::int64_t now_us = 0; // of the call that is under way
    sockaddr_in known_box{}; // of which records and report are
    bool told_invalid = false;
    std::array<BrowserId, held_count> told_holders{};
    MovingMark moving_mark;
    std::int64_t state_due_us = 0; // when the panel's state is told again
    std::int64_t report_seen_us = -never_us;
    std::int64_t report_asked_us = -never_us;
    std::int64_t report_due_us = never_us;
    std::int64_t media_end_us = never_us; // when nobody has looked for long enough
    std::uint64_t pictures_left_out = 0;  // for browsers that are gone
};

std::size_t viewer_count(const Hub& hub); // browsers that want pictures
SendCommand sender_to(Hub& hub);          // to the box that it has

} // namespace panel
