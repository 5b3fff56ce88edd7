// rcin --show: what the channels say, live, for a pilot who writes the map.
#pragma once

namespace rcin {

// Shows the channels of the status block until it is ended by a signal. Returns the exit status.
int show_channels();

} // namespace rcin
