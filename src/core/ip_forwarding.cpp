#include "core/ip_forwarding.h"

#include "core/lanes.h"
#include "core/shell.h"

namespace fieldrelaybox {

namespace {

constexpr int time_limit_ms = 2000;

} // namespace

void set_ip_forwarding(bool on) {
    add_job("ip_forward", {.kind = "forwarding",
                           .run =
                               [on] {
                                   run_shell_command(on ? "echo 1 > /proc/sys/net/ipv4/ip_forward"
                                                        : "echo 0 > /proc/sys/net/ipv4/ip_forward",
                                                     time_limit_ms);
                               },
                           .is_command = false});
}

} // namespace fieldrelaybox
