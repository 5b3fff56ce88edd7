// Opens serial lines at any baud rate.
#pragma once

#include <string>

namespace rcin {

struct LineFormat {
    unsigned baud = 0;
    bool even_parity = false;
    bool two_stop_bits = false;
};

struct OpenedPort {
    int descriptor = -1; // the caller closes it; -1: see fault
    std::string fault;
    std::string hint; // what the line cannot do
};

// Raw, without waiting, for this process alone; what came before is dropped. Damaged bytes are
// marked, see parity_marks.h.
OpenedPort open_serial_port(const std::string& device, const LineFormat& format);

} // namespace rcin
