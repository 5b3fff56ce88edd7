#include "config/program_version.h"

#include "config/config_record.h"

#include <cstdio>

namespace fieldrelaybox {

std::string version_text() {
    const auto& [major, minor, patch] = daemon_version;
    return std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(patch);
}

int print_version_of(const char* program) {
    std::printf("%s %s\n", program, version_text().c_str());
    return 0;
}

} // namespace fieldrelaybox
