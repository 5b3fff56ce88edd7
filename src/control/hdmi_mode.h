// The parameter "hdmimode": switches the video output to another mode. It is not a setting of the
// configuration file; the boot default is kept by a script.
#pragma once

#include "apps/app_request.h"

namespace fieldrelaybox {

// "value" is a mode name, "value2" says whether to make it the boot default. An unknown name means
// the default mode. Takes more than a second.
void change_hdmi_mode(const AppRequest& request);

} // namespace fieldrelaybox
