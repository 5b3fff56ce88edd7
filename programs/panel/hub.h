// The middle of the panel: what comes from the box goes to the browsers, what browsers ask for goes
// to the box. It knows nothing of HTTP and WebSocket.
#pragma once

#include "panel/hub_state.h"

#include <cstdint>
#include <string_view>

namespace panel {

// False, told on standard error, when the way to the box cannot be opened. See open_box_link. The
// hub stays where it is from then on.
bool open_hub(Hub& hub, std::string_view box);
void close_hub(Hub& hub, std::int64_t now_us); // what moves is stopped before

// What is known goes to it at once: the newest records, what the panel says, and with its first
// wish for pictures the last group of them. 0 when there are most_browsers.
BrowserId add_browser(Hub& hub, std::int64_t now_us);
void remove_browser(Hub& hub, BrowserId browser, std::int64_t now_us);

// A text message of a browser. What is no request is answered with what is wrong with it.
void take_request(Hub& hub, BrowserId browser, std::string_view text, std::int64_t now_us);

// What is to be sent to it next; null when there is nothing.
SharedMessage next_message(Hub& hub, BrowserId browser);

// The link's socket can be read.
void take_from_box(Hub& hub, std::int64_t now_us);

void pass_time(Hub& hub, std::int64_t now_us);
std::int64_t due_us(const Hub& hub); // when to call pass_time, at the latest

} // namespace panel
