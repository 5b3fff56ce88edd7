// The parameter "hdmimode": switches the video output to another mode. It is not a setting of the
// configuration file; the boot default is kept by a script.
#pragma once

#include "apps/app_request.h"

namespace fieldrelaybox {

// "value" is a mode name, "value2" says whether to make it the boot default. An unknown name means
// the default mode. Runs in a lane of its own; of the modes that wait there the last counts.
void change_hdmi_mode(const AppRequest& request);

} // namespace fieldrelaybox
