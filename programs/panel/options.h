// The command line.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace panel {

struct Options {
    std::string box;                       // HOST[:PORT], or empty
    std::string listen = "127.0.0.1:8080"; // ADDRESS:PORT
    std::string password_file;
    std::string certificate_file;
    std::string key_file;
    std::string page_directory; // of the built page
    std::vector<std::string>
        host_names; // --name: by which the panel is called besides its addresses
    bool set_password = false;
};

// Nothing when they are wrong (told on standard error, the program ends with exit_wrong_usage) or
// were answered (--help, --version: status holds what to end with).
std::optional<Options> read_options(std::span<char* const> arguments, int& status);

} // namespace panel
