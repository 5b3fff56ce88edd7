// Which device each kind of receiver is wired to, from rcin.conf.
#pragma once

#include <string>

namespace rcin {

inline constexpr const char* devices_file = "/etc/fieldrelaybox/rcin.conf";

// Empty: there is none.
struct Devices {
    std::string path = devices_file; // where they were read
    std::string uart;
    std::string uart2;
    std::string ppm;
    std::string ppm2;
    std::string pwm;
    std::string pad;
};

// A file that is not there names nothing, which is logged unless it is devices_file. Lines that
// cannot be used are logged and passed over.
Devices read_devices(const std::string& path);

} // namespace rcin
