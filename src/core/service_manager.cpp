#include "core/service_manager.h"

#include <systemd/sd-daemon.h>

namespace fieldrelaybox {

// What comes of the telling is of no use to anyone.

void announce_ready() {
    sd_notify(0, "READY=1");
}

void announce_stopping() {
    sd_notify(0, "STOPPING=1");
}

void feed_watchdog() {
    sd_notify(0, "WATCHDOG=1");
}

} // namespace fieldrelaybox
