#include "network/state.h"

#include "config/whole_files.h"
#include "core/log.h"
#include "network/files.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <unistd.h>

namespace network {

namespace {

namespace fs = std::filesystem;

std::string lasting(const char* name) {
    const char* folder = std::getenv("STATE_DIRECTORY");
    return std::string(folder != nullptr ? folder : "/var/lib/fieldrelaybox-network") + '/' + name;
}

} // namespace

std::string accepted_file() {
    return lasting("accepted.conf");
}

std::string refused_file() {
    return lasting("refused.conf");
}

std::string trial_file() {
    return own_path("trial");
}

std::string unfinished_file() {
    return own_path("unfinished");
}

std::string accept_file() {
    return own_path("accept");
}

bool is_there(const std::string& path) {
    return access(path.c_str(), F_OK) == 0;
}

void write_state(const std::string& path, const std::string& text) {
    std::error_code error;
    fs::create_directories(fs::path(path).parent_path(), error);
    if (const auto failure = fieldrelaybox::replace_private_file(path, text); !failure.empty())
        fieldrelaybox::log_error("%s", failure.c_str());
}

} // namespace network
