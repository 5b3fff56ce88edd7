#include "camera/builders/button_frames.h"

namespace fieldrelaybox {

void periodic_frame() {
    send_stored_frame(periodic_a_frame);
}

} // namespace fieldrelaybox
