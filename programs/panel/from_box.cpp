#include "panel/from_box.h"

#include "core/sockets.h"
#include "panel/telling.h"

#include <algorithm>
#include <cJSON.h>
#include <memory>
#include <string_view>
#include <utility>

namespace panel {
namespace {

using fieldrelaybox::Bytes;

constexpr std::int64_t report_pause_us = 200'000; // between two requests for it
constexpr std::string_view json_space = " \t\r\n";

bool is_json(std::string_view text) {
    const char* end = nullptr;
    const std::unique_ptr<cJSON, void (*)(cJSON*)> json(
        cJSON_ParseWithLengthOpts(text.data(), text.size(), &end, 0), cJSON_Delete);
    return cJSON_IsObject(json.get()) &&
           std::string_view(end, text.data() + text.size()).find_first_not_of(json_space) ==
               std::string_view::npos;
}

// A report is passed on whatever it is: the page makes the best of it.
void take_report(Hub& hub, std::string_view text, const SharedMessage& message) {
    hub.report = message;
    hub.report_seen_us = hub.now_us;
    take_answer(hub.holds);
    const bool invalid = !is_json(text);
    if (invalid && !hub.told_invalid)
        tell_everyone(hub, "The box's report of its settings is damaged: a text in them holds a "
                           "quote or a backslash.");
    hub.told_invalid = invalid;
}

void take_reply(Hub& hub, Bytes payload) {
    const std::string_view text(reinterpret_cast<const char*>(payload.data()), payload.size());
    const SharedMessage message = make_status_message(payload);
    if (is_report(payload))
        take_report(hub, text, message);
    tell_status(hub, message);
}

void take_record(Hub& hub, Bytes payload) {
    if (payload.size() > longest_record)
        return;
    const SharedMessage message = make_status_message(payload);
    hub.records[topic_of(message).value_or(0)] = {message, hub.now_us};
    tell_status(hub, message);
}

void take_status(Hub& hub, Bytes payload) {
    if (payload.empty())
        return;
    if (is_json_text(payload))
        take_reply(hub, payload);
    else
        take_record(hub, payload);
}

void take_picture(Hub& hub, const SharedMessage& picture, std::uint8_t flags) {
    keep_picture(hub.recent, picture, flags);
    for (auto& [id, browser] : hub.browsers) {
        if (!browser.watches)
            continue;
        put_picture(browser.outbox, picture, flags);
        if (hub.has_messages)
            hub.has_messages(id);
    }
}

void take_sound(Hub& hub, Bytes frame, std::int64_t came_us) {
    const SharedMessage message = make_sound_message(frame, came_us);
    for (auto& [id, browser] : hub.browsers) {
        if (!browser.listens)
            continue;
        put_sound(browser.outbox, message);
        if (hub.has_messages)
            hub.has_messages(id);
    }
}

// When the box is another one now, nothing is known of it.
void forget_other_box(Hub& hub) {
    if (fieldrelaybox::is_same_address(hub.link.box, hub.known_box))
        return;
    hub.known_box = hub.link.box;
    hub.records.clear();
    hub.report = nullptr;
    hub.report_seen_us = -never_us;
    hub.told_invalid = false;
    begin_pictures_anew(hub);
    for (auto& [id, browser] : hub.browsers) {
        drop_records(browser.outbox);
        drop_media(browser.outbox);
    }
}

// What the link itself tells of.
void take_change(Hub& hub) {
    forget_other_box(hub);
    hub.state_due_us = hub.now_us;
    if (!hub.link.heard)
        return;
    stop_again(hub.holds, hub.now_us, sender_to(hub));
    if (!hub.browsers.empty())
        ask_for_report_at(hub, hub.now_us);
}

} // namespace

TakePicture picture_taker(Hub& hub) {
    return [&hub](const SharedMessage& picture, std::uint8_t flags) {
        take_picture(hub, picture, flags);
    };
}

FromBox takers_of(Hub& hub) {
    return {
        .status = [&hub](Bytes payload) { take_status(hub, payload); },
        .video =
            [&hub](Bytes payload, std::int64_t came_us, bool gap) {
                take_video(hub.collector, payload, came_us, gap, picture_taker(hub));
            },
        .sound = [&hub](Bytes payload, std::int64_t came_us) { take_sound(hub, payload, came_us); },
        .changed = [&hub] { take_change(hub); },
        .leaves = [&hub] { end_holds(hub.holds, sender_to(hub)); }};
}

void give_recent_pictures(Hub& hub, BrowserId browser) {
    Outbox& outbox = hub.browsers[browser].outbox;
    put_first_group(outbox, hub.recent.pictures);
    if (!hub.recent.pictures.empty() && hub.has_messages)
        hub.has_messages(browser);
}

void ask_for_report_at(Hub& hub, std::int64_t time_us) {
    hub.report_due_us = std::max(time_us, hub.report_asked_us + report_pause_us);
}

void begin_pictures_anew(Hub& hub) {
    PictureCollector fresh;
    fresh.pictures = hub.collector.pictures;
    fresh.damaged_pictures = hub.collector.damaged_pictures;
    hub.collector = std::move(fresh);
    hub.recent = {};
}

} // namespace panel
