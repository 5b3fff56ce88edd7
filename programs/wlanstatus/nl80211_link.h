// Asks the kernel's Wi-Fi subsystem for the current link of an interface.
#pragma once

#include "wlanstatus/link_report.h"

#include <optional>

namespace wlanstatus {

// Nothing when there is no such interface, no driver, or no network has been joined.
std::optional<Link> query_link(const char* interface_name);

} // namespace wlanstatus
