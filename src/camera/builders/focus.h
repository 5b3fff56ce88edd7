// Focus: type, point, manual focus, assistants.
#pragma once

#include <cstdint>

namespace fieldrelaybox {

enum class FocusType : std::uint8_t { manual, automatic, automatic_unlimited };

// Manual does nothing unless the camera reports autofocus.
void set_focus_type(FocusType type);

// Manual focus for a camera that offers it (status block); otherwise nothing.
void set_manual_focus_type_if_capable();

// Focus point, 0..1 from left and from top.
void set_focus_point(double x, double y);

// Percent of the focus range, cut down to a whole step; nothing before the range is known.
void set_manual_focus(double percent);

// The app's form: to manual focus first, then rounds to the nearest step.
void set_manual_focus_from_app(int percent);

// Each leaves the other assistant as the camera last reported it.
void set_mf_assistant(int on);
void set_af_assistant(int on);

void calibrate_focus();

} // namespace fieldrelaybox
