#include "daemon/data_source.h"

#include "camera/link/camera_link.h"
#include "camera/state/telemetry_receiver.h"
#include "control/command_polling.h"
#include "rc/rc_loop.h"

namespace fieldrelaybox {

void init_data_source() {
    init_camera_link();
    clear_live_link_bytes();
    start_telemetry_receiver();
    start_command_polling();
    start_rc_loop();
}

} // namespace fieldrelaybox
