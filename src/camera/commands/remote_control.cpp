#include "camera/commands/remote_control.h"

#include "camera/builders/gimbal.h"
#include "camera/builders/zoom.h"

namespace fieldrelaybox {

namespace {

enum : int { kind_angle = 0, kind_speed = 1, kind_zoom = 2 };
enum : int { zoom_relative = -1, zoom_step = -2, zoom_direction = -3 };

void control_zoom(int a, int b, const sockaddr_in& sender) {
    switch (a) {
    case zoom_relative:
        return set_zoom_relative(b);
    case zoom_step:
        return set_zoom_step(b, sender);
    case zoom_direction:
        return zoom_drive(b);
    default:
        return set_zoom(b);
    }
}

} // namespace

void remote_control(int kind, int a, int b, const sockaddr_in& sender) {
    switch (kind) {
    case kind_angle:
        return gimbal_set_angle(a, b);
    case kind_speed:
        return gimbal_speed_now(a, b);
    case kind_zoom:
        return control_zoom(a, b, sender);
    default:
        return;
    }
}

} // namespace fieldrelaybox
