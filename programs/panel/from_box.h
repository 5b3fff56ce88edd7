// What comes from the box, on its way to the browsers. For the hub alone.
#pragma once

#include "panel/hub_state.h"

namespace panel {

FromBox takers_of(Hub& hub);
TakePicture picture_taker(Hub& hub);

// The last group of pictures, to a browser that begins to look.
void give_recent_pictures(Hub& hub, BrowserId browser);

// The next picture follows nothing that was before. Its counters go on.
void begin_pictures_anew(Hub& hub);

// Asks for the report of the settings then, or a little later when that was done just before.
void ask_for_report_at(Hub& hub, std::int64_t time_us);

} // namespace panel
