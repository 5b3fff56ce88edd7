// termios2 of the kernel's own headers: the C library's does not know rates like 100,000 baud.
#include "rcin/serial_port.h"

#include <asm/ioctls.h>
#include <asm/termbits.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <linux/serial.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace rcin {
namespace {

constexpr unsigned bearable_percent = 2; // off the rate; half a bit in ten would be 5

termios2 line_settings(const LineFormat& format) {
    termios2 settings{};
    settings.c_iflag = INPCK | PARMRK;
    settings.c_cflag = CS8 | CREAD | CLOCAL | BOTHER | (BOTHER << IBSHIFT) |
                       (format.even_parity ? PARENB : 0U) | (format.two_stop_bits ? CSTOPB : 0U);
    settings.c_ispeed = settings.c_ospeed = format.baud;
    settings.c_cc[VMIN] = 1; // nothing there is told apart from hung up
    return settings;
}

// Adapters at USB hold bytes back for 16 ms unless told otherwise. Others do not know of it.
void ask_for_low_latency(int descriptor) {
    serial_struct serial{};
    if (ioctl(descriptor, TIOCGSERIAL, &serial) != 0)
        return;
    serial.flags |= ASYNC_LOW_LATENCY;
    ioctl(descriptor, TIOCSSERIAL, &serial);
}

// Drivers drop without a word what they cannot do.
std::string what_line_lacks(const termios2& settings, const LineFormat& format) {
    std::string hint;
    if (format.even_parity && (settings.c_cflag & PARENB) == 0)
        hint = "the line has no parity: bytes that are damaged on the way may go unnoticed";
    const unsigned speed = settings.c_ispeed;
    const unsigned off = speed > format.baud ? speed - format.baud : format.baud - speed;
    if (100 * off > bearable_percent * format.baud)
        hint += std::string(hint.empty() ? "" : "; ") + "the line runs at " +
                std::to_string(speed) + " baud instead of " + std::to_string(format.baud);
    return hint;
}

bool set_up_line(int descriptor, const LineFormat& format, std::string& hint) {
    termios2 settings = line_settings(format);
    if (ioctl(descriptor, TCSETS2, &settings) != 0 || ioctl(descriptor, TCGETS2, &settings) != 0)
        return false;
    hint = what_line_lacks(settings, format);
    ask_for_low_latency(descriptor);
    return ioctl(descriptor, TCFLSH, TCIFLUSH) == 0;
}

} // namespace

OpenedPort open_serial_port(const std::string& device, const LineFormat& format) {
    OpenedPort port;
    const auto fault = [&](const char* what) {
        port.fault = device + ": " + what + ": " + std::strerror(errno);
        if (port.descriptor >= 0)
            close(port.descriptor);
        port.descriptor = -1;
        return port;
    };
    port.descriptor = open(device.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (port.descriptor < 0)
        return fault("cannot be opened");
    // TIOCEXCL would outlast a process that is killed where the line is a pseudo-terminal.
    if (flock(port.descriptor, LOCK_EX | LOCK_NB) != 0)
        return fault("is in use");
    if (!set_up_line(port.descriptor, format, port.hint))
        return fault("is no serial line");
    if (!port.hint.empty())
        port.hint = device + ": " + port.hint;
    return port;
}

} // namespace rcin
