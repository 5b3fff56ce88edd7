#include "panel/telling.h"

#include "config/program_version.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cJSON.h>
#include <memory>
#include <string>
#include <vector>

namespace panel {
namespace {

using StateJson = std::unique_ptr<cJSON, void (*)(cJSON*)>;
using StateText = std::unique_ptr<char, void (*)(void*)>;

// Does what send does for each browser. Who reads nothing at all is named only afterwards: the
// browsers must not change meanwhile.
template<class Put> void put_to_all(Hub& hub, const Put& put) {
    std::vector<BrowserId> full;
    for (auto& [id, browser] : hub.browsers) {
        if (!put(id, browser.outbox))
            full.push_back(id);
        else if (hub.has_messages)
            hub.has_messages(id);
    }
    for (const BrowserId id : full)
        if (hub.is_to_be_sent_away)
            hub.is_to_be_sent_away(id);
}

template<class Put> void put_to_one(Hub& hub, BrowserId id, const Put& put) {
    const auto found = hub.browsers.find(id);
    if (found == hub.browsers.end())
        return;
    const auto& call = put(found->second.outbox) ? hub.has_messages : hub.is_to_be_sent_away;
    if (call)
        call(id);
}

void add_number(cJSON* object, const char* name, std::uint64_t number) {
    cJSON_AddNumberToObject(object, name, static_cast<double>(number));
}

void add_boxes(cJSON* object, const std::vector<FoundBox>& found) {
    cJSON* boxes = cJSON_AddArrayToObject(object, "boxes");
    for (const FoundBox& box : found)
        cJSON_AddItemToArray(boxes, cJSON_CreateString(box_text(box.address).c_str()));
}

void add_counts(cJSON* object, const Hub& hub) {
    add_number(object, "viewers", viewer_count(hub));
    add_number(object, "videoDatagrams", hub.link.counts.video_datagrams);
    add_number(object, "videoBytes", hub.link.counts.video_bytes);
    add_number(object, "lost", hub.link.order.lost);
    add_number(object, "damagedPictures", hub.collector.damaged_pictures);
    add_number(object, "timeUs", static_cast<std::uint64_t>(hub.now_us));
}

// told: a line for the person, or empty.
SharedMessage make_state(const Hub& hub, BrowserId browser, std::string_view told = {}) {
    const StateJson state(cJSON_CreateObject(), cJSON_Delete);
    cJSON* const object = state.get();
    cJSON_AddStringToObject(object, "box", box_text(hub.link.box).c_str());
    cJSON_AddBoolToObject(object, "heard", hub.link.heard ? 1 : 0);
    cJSON_AddStringToObject(object, "version", fieldrelaybox::version_text().c_str());
    add_boxes(object, hub.link.found);
    add_number(object, "you", browser);
    add_number(object, "gimbalHolder", holder_of(hub.holds, Held::gimbal));
    add_number(object, "zoomHolder", holder_of(hub.holds, Held::zoom));
    add_counts(object, hub);
    if (!told.empty())
        cJSON_AddStringToObject(object, "told", std::string(told).c_str());
    const StateText text(cJSON_PrintUnformatted(object), cJSON_free);
    return make_panel_message(text == nullptr ? "{}" : text.get());
}

} // namespace

std::string box_text(const sockaddr_in& address) {
    std::array<char, INET_ADDRSTRLEN> host{};
    if (address.sin_port == 0 ||
        inet_ntop(AF_INET, &address.sin_addr, host.data(), host.size()) == nullptr)
        return {};
    return std::string(host.data()) + ":" + std::to_string(ntohs(address.sin_port));
}

void tell_status(Hub& hub, const SharedMessage& message) {
    put_to_all(
        hub, [&message](BrowserId /*id*/, Outbox& outbox) { return put_status(outbox, message); });
}

void tell_person(Hub& hub, BrowserId browser, std::string_view line) {
    put_to_one(hub, browser,
               [&](Outbox& outbox) { return put_told(outbox, make_state(hub, browser, line)); });
}

void tell_everyone(Hub& hub, std::string_view line) {
    put_to_all(hub, [&](BrowserId id, Outbox& outbox) {
        return put_told(outbox, make_state(hub, id, line));
    });
}

void tell_state(Hub& hub) {
    const std::array holders{holder_of(hub.holds, Held::gimbal), holder_of(hub.holds, Held::zoom)};
    if (hub.now_us < hub.state_due_us && holders == hub.told_holders)
        return;
    hub.told_holders = holders;
    hub.state_due_us = hub.now_us + second_us;
    put_to_all(hub, [&hub](BrowserId id, Outbox& outbox) {
        return put_status(outbox, make_state(hub, id));
    });
}

void tell_newcomer(Hub& hub, BrowserId browser) {
    put_to_one(hub, browser, [&](Outbox& outbox) {
        put_status(outbox, make_state(hub, browser));
        if (hub.report != nullptr)
            put_status(outbox, hub.report);
        for (const auto& [topic, record] : hub.records)
            if (hub.now_us - record.at_us < record_time_us)
                put_status(outbox, record.message);
        return true;
    });
}

} // namespace panel
