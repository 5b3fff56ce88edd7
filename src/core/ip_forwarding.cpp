#include "core/ip_forwarding.h"

#include "core/shell.h"

namespace fieldrelaybox {

void set_ip_forwarding(bool on) {
    run_shell_command(on ? "echo 1 > /proc/sys/net/ipv4/ip_forward"
                         : "echo 0 > /proc/sys/net/ipv4/ip_forward");
}

} // namespace fieldrelaybox
