#include "panel/hub.h"

#include "panel/from_box.h"
#include "panel/motion_words.h"
#include "panel/requests.h"
#include "panel/telling.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>
#include <variant>

namespace panel {
namespace {

constexpr std::int64_t report_age_us = 2 * second_us; // a younger one need not be asked for
constexpr std::int64_t change_time_us = 300'000;      // by then the box has done what was asked for
constexpr std::string_view report_word = "configrequest";
constexpr std::string_view change_word = "updateparam";

bool wants_media(const Hub& hub) {
    return std::ranges::any_of(hub.browsers, [](const auto& entry) {
        return entry.second.watches || entry.second.listens;
    });
}

// Begins at once, and ends a while after the last one has left.
void follow_wishes(Hub& hub) {
    if (wants_media(hub)) {
        hub.media_end_us = never_us;
        ask_for_media(hub.link, true, hub.now_us);
    } else if (hub.link.wants_media && hub.media_end_us == never_us) {
        hub.media_end_us = hub.now_us + media_pause_us;
    }
}

void end_media(Hub& hub) {
    hub.media_end_us = never_us;
    ask_for_media(hub.link, false, hub.now_us);
    begin_pictures_anew(hub);
}

void ask_for_report(Hub& hub) {
    hub.report_due_us = never_us;
    hub.report_asked_us = hub.now_us;
    send_command(hub.link, R"({"cmd":"configrequest"})");
}

// What the end of any call from outside has in common.
void finish_call(Hub& hub) {
    if (hub.now_us >= hub.report_due_us)
        ask_for_report(hub);
    set_moving_mark(hub.moving_mark, may_move(hub.holds));
    tell_state(hub);
}

void wish(Hub& hub, BrowserId id, const Watch& watch) {
    Browser& browser = hub.browsers[id];
    const bool begins = watch.pictures && !browser.watches;
    const bool sees_end = browser.watches && !watch.pictures;
    browser.watches = watch.pictures;
    browser.listens = watch.sound;
    if (sees_end || (!watch.pictures && !watch.sound))
        drop_media(browser.outbox);
    if (begins)
        give_recent_pictures(hub, id);
    follow_wishes(hub);
    hub.state_due_us = hub.now_us; // the number of viewers
}

constexpr std::array<const char*, held_count> busy_lines{"Someone else is moving the gimbal.",
                                                         "Someone else is driving the zoom."};

// Why it must not go to the box; null: it may. What lasts until a stop is sent needs a hold, so
// that it ends with its browser, and what someone else holds is not to be moved under their hands.
const char* refusal_of(const Hub& hub, BrowserId id, const Command& command) {
    const MotionWord* const motion = find_motion_word(command.word, command.param);
    if (motion == nullptr)
        return nullptr;
    if (motion->lasts)
        return "Not sent: such a motion needs a hold.";
    const BrowserId holder = holder_of(hub.holds, motion->moves);
    return holder == 0 || holder == id ? nullptr
                                       : busy_lines[static_cast<std::size_t>(motion->moves)];
}

void pass_on(Hub& hub, BrowserId id, const Command& command) {
    if (command.word == report_word)
        return ask_for_report_at(hub, hub.now_us);
    if (const char* const refusal = refusal_of(hub, id, command))
        return tell_person(hub, id, refusal);
    if (command.json.size() > longest_command)
        return tell_person(hub, id,
                           "Too long for the box: " + std::to_string(command.json.size()) + " of " +
                               std::to_string(longest_command) + " characters.");
    if (!send_command(hub.link, command.json))
        return tell_person(hub, id, "Not sent: there is no box.");
    if (command.word == change_word)
        ask_for_report_at(hub, hub.now_us + change_time_us);
}

void keep_hold(Hub& hub, BrowserId id, const HoldRequest& request) {
    const auto index = static_cast<std::size_t>(request.what);
    const bool has_it =
        hold(hub.holds, request.what, id, request.motion, hub.now_us, sender_to(hub));
    const BrowserId refused_by = has_it ? 0 : holder_of(hub.holds, request.what);
    const BrowserId told = std::exchange(hub.browsers[id].refused_by[index], refused_by);
    if (refused_by != 0 && refused_by != told)
        tell_person(hub, id, busy_lines[index]);
}

void let_go(Hub& hub, BrowserId id, const ReleaseRequest& request) {
    hub.browsers[id].refused_by[static_cast<std::size_t>(request.what)] = 0;
    release(hub.holds, request.what, id, hub.now_us, sender_to(hub));
}

void choose(Hub& hub, BrowserId id, const Choose& request) {
    const auto found = std::ranges::find_if(hub.link.found, [&request](const FoundBox& box) {
        return box_text(box.address) == request.box;
    });
    if (found == hub.link.found.end())
        return tell_person(hub, id, "No such box was found.");
    const sockaddr_in address = found->address;
    choose_box(hub.link, address, hub.now_us);
}

template<class... Calls> struct Overloaded : Calls... { using Calls::operator()...; };
template<class... Calls> Overloaded(Calls...) -> Overloaded<Calls...>; // clang 14 asks for it

void perform(Hub& hub, BrowserId id, const Request& request) {
    std::visit(Overloaded{[&](const Watch& watch) { wish(hub, id, watch); },
                          [&](const Command& command) { pass_on(hub, id, command); },
                          [&](const HoldRequest& held) { keep_hold(hub, id, held); },
                          [&](const ReleaseRequest& released) { let_go(hub, id, released); },
                          [&](const Choose& chosen) { choose(hub, id, chosen); }},
               request);
}

} // namespace

bool open_hub(Hub& hub, std::string_view box) {
    if (hub.moving_mark.is_set)
        doubt_rest(hub.holds);
    return open_box_link(hub.link, box, takers_of(hub));
}

void close_hub(Hub& hub, std::int64_t now_us) {
    hub.now_us = now_us;
    end_holds(hub.holds, sender_to(hub));
    close_box_link(hub.link);
}

BrowserId add_browser(Hub& hub, std::int64_t now_us) {
    if (hub.browsers.size() >= most_browsers)
        return 0;
    hub.now_us = now_us;
    const BrowserId id = ++hub.last_id;
    hub.browsers[id] = {};
    tell_newcomer(hub, id);
    if (now_us > hub.report_seen_us + report_age_us)
        ask_for_report_at(hub, now_us);
    finish_call(hub);
    return id;
}

void remove_browser(Hub& hub, BrowserId browser, std::int64_t now_us) {
    const auto found = hub.browsers.find(browser);
    if (found == hub.browsers.end())
        return;
    hub.now_us = now_us;
    release_all(hub.holds, browser, now_us, sender_to(hub));
    hub.pictures_left_out += found->second.outbox.pictures_left_out;
    if (found->second.watches)
        hub.state_due_us = now_us;
    hub.browsers.erase(found);
    follow_wishes(hub);
    finish_call(hub);
}

void take_request(Hub& hub, BrowserId browser, std::string_view text, std::int64_t now_us) {
    if (!hub.browsers.contains(browser))
        return;
    hub.now_us = now_us;
    if (const auto request = parse_request(text))
        perform(hub, browser, *request);
    else
        tell_person(hub, browser, "The panel did not understand the page: load it anew.");
    finish_call(hub);
}

SharedMessage next_message(Hub& hub, BrowserId browser) {
    const auto found = hub.browsers.find(browser);
    return found == hub.browsers.end() ? nullptr : take_next(found->second.outbox);
}

void take_from_box(Hub& hub, std::int64_t now_us) {
    hub.now_us = now_us;
    take_datagrams(hub.link, now_us);
    finish_call(hub);
}

void pass_time(Hub& hub, std::int64_t now_us) {
    hub.now_us = now_us;
    pass_time(hub.holds, now_us, sender_to(hub));
    pass_time(hub.link, now_us);
    pass_time(hub.collector, now_us, picture_taker(hub));
    if (now_us >= hub.media_end_us)
        end_media(hub);
    finish_call(hub);
}

std::int64_t due_us(const Hub& hub) {
    const std::int64_t state_due_us = hub.browsers.empty() ? never_us : hub.state_due_us;
    return std::min({due_us(hub.link), due_us(hub.collector), due_us(hub.holds), state_due_us,
                     hub.report_due_us, hub.media_end_us});
}

} // namespace panel
