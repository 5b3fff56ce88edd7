// What the hub puts into the browsers' outboxes. For the hub alone.
#pragma once

#include "panel/hub_state.h"

#include <string>
#include <string_view>

namespace panel {

// To everyone: a record, a reply.
void tell_status(Hub& hub, const SharedMessage& message);

// The panel's state with a line for the person, to one browser or to everyone.
void tell_person(Hub& hub, BrowserId browser, std::string_view line);
void tell_everyone(Hub& hub, std::string_view line);

// The panel's state to everyone, when it is due or someone else holds something.
void tell_state(Hub& hub);

// The newest records, the report and the panel's state.
void tell_newcomer(Hub& hub, BrowserId browser);

// "192.0.2.5:4242"; empty without a port.
std::string box_text(const sockaddr_in& address);

} // namespace panel
