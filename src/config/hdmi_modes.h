// The HDMI output modes that the app can choose.
#pragma once

#include <string_view>

namespace fieldrelaybox {

enum class HdmiGroup : int { cea = 0, dmt = 1 };

// Looks name up exactly as written. Returns 0 and sets group and mode (CEA-861 video identification
// code or VESA DMT identifier); otherwise returns non-zero and leaves both alone.
int look_up_hdmi_mode(std::string_view name, HdmiGroup& group, int& mode);

} // namespace fieldrelaybox
