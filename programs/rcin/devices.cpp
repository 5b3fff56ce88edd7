#include "rcin/devices.h"

#include "core/log.h"
#include "core/word_table.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <ini.h>
#include <string_view>

namespace rcin {

namespace {

struct DeviceKey {
    std::string_view word;
    std::string Devices::*value;
};

constexpr std::array device_keys{
    DeviceKey{"uart", &Devices::uart}, DeviceKey{"uart2", &Devices::uart2},
    DeviceKey{"ppm", &Devices::ppm},   DeviceKey{"ppm2", &Devices::ppm2},
    DeviceKey{"pwm", &Devices::pwm},   DeviceKey{"pad", &Devices::pad},
};

int take_device_key(void* user, const char* /*section*/, const char* name, const char* value) {
    const DeviceKey* const key = fieldrelaybox::find_word(device_keys, name);
    if (key != nullptr)
        static_cast<Devices*>(user)->*key->value = value;
    return key != nullptr ? 1 : 0;
}

} // namespace

// Line by line, since of a whole file the parser tells the first bad line only.
Devices read_devices(const std::string& path) {
    Devices devices;
    devices.path = path;
    std::ifstream file(path);
    if (!file && (errno != ENOENT || path != devices_file))
        fieldrelaybox::log_error("cannot read %s: %s", path.c_str(), std::strerror(errno));
    std::string line;
    for (int number = 1; std::getline(file, line); ++number)
        if (ini_parse_string(line.c_str(), take_device_key, &devices) != 0)
            fieldrelaybox::log_warning("%s line %d is left out, it is none of uart=, uart2=, ppm=, "
                                       "ppm2=, pwm= and pad=: %s",
                                       path.c_str(), number, line.c_str());
    return devices;
}

} // namespace rcin
