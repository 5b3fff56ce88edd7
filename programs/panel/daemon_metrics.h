// The counters of the daemon that runs on this computer, as numbers.
#pragma once

#include "fieldrelaybox/statistics.h"
#include "panel/metric_text.h"

namespace panel {

// Adds nothing when there is no region of statistics, it is of another layout, or the daemon that
// made it is gone.
void add_daemon_metrics(MetricText& text, const char* region = FIELDRELAYBOX_STATISTICS_NAME);

} // namespace panel
