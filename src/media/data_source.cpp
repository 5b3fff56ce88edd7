#include "media/media_sources.h"

#include "camera/camera_link.h"
#include "camera/control_loop.h"
#include "camera/telemetry_receiver.h"
#include "control/app_commands.h"

namespace fieldrelaybox {

void init_data_source() {
    open_camera_link();
    start_telemetry_receiver();
    start_command_polling();
    start_control_loop();
}

} // namespace fieldrelaybox
