#include "config/program_version.h"

#include "config/config_record.h"

#include <cstdio>

namespace fieldrelaybox {

int print_version_of(const char* program) {
    std::printf("%s %d.%d.%d\n", program, daemon_version.major, daemon_version.minor,
                daemon_version.patch);
    return 0;
}

} // namespace fieldrelaybox
