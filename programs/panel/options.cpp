#include "panel/options.h"

#include "config/program_version.h"
#include "core/exit_status.h"
#include "core/word_table.h"

#include <array>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <system_error>

#ifndef PANEL_PAGE_DIRECTORY
#define PANEL_PAGE_DIRECTORY "/usr/share/fieldrelaybox-panel"
#endif

namespace panel {
namespace {

constexpr const char* usage_text =
    "Usage: fieldrelaybox-panel [--box HOST[:PORT]] [--listen ADDRESS:PORT] [--name NAME]...\n"
    "                           [--password-file FILE] [--certificate FILE --key FILE]\n"
    "                           [--page DIRECTORY]\n"
    "       fieldrelaybox-panel --set-password --password-file FILE\n"
    "       fieldrelaybox-panel --help | --version\n"
    "\n"
    "Shows a box in a browser and drives it. Runs until it is ended.\n"
    "\n"
    "  --box HOST[:PORT]     the box; without it boxes are looked for in the network\n"
    "  --listen ADDRESS:PORT where browsers come to (127.0.0.1:8080; [::]:8080 for all "
    "addresses);\n"
    "                        without a password on this computer only\n"
    "  --password-file FILE  browsers have to log in with the password of this file\n"
    "  --set-password        read a password from standard input into the file, and end\n"
    "  --name NAME           a host name by which browsers may come, besides addresses, localhost\n"
    "                        and names that end with .local\n"
    "  --certificate FILE    serve https with this certificate (PEM, with its chain)\n"
    "  --key FILE            and its key; SIGHUP reads both and the password file again\n"
    "  --page DIRECTORY      of the page\n"
    "  --help                print this text\n"
    "  --version             print the version\n";

struct TextOption {
    std::string_view word;
    std::string Options::*field;
};

constexpr std::array<TextOption, 6> text_options{{
    {"--box", &Options::box},
    {"--listen", &Options::listen},
    {"--password-file", &Options::password_file},
    {"--certificate", &Options::certificate_file},
    {"--key", &Options::key_file},
    {"--page", &Options::page_directory},
}};

std::nullopt_t refuse_usage(int& status, const char* what, const char* argument = "") {
    std::fprintf(stderr, "fieldrelaybox-panel: %s%s, see --help\n", what, argument);
    status = fieldrelaybox::exit_wrong_usage;
    return std::nullopt;
}

std::nullopt_t answer(int& status, std::string_view question) {
    status = question == "--version" ? fieldrelaybox::print_version_of("fieldrelaybox-panel")
                                     : (std::fputs(usage_text, stdout) < 0 ? 1 : 0);
    return std::nullopt;
}

// Where the page lies: in a build directory beside the program, else where it is installed.
std::string usual_page_directory() {
    std::error_code fault;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", fault);
    const std::filesystem::path beside = self.parent_path() / "page";
    if (!fault && std::filesystem::exists(beside / "index.html", fault))
        return beside.string();
    return PANEL_PAGE_DIRECTORY;
}

// Takes the option and its value; false when there is none of that name.
bool take_text(Options& options, std::string_view word, const char* value) {
    if (word == "--name") {
        options.host_names.emplace_back(value);
        return true;
    }
    const TextOption* const row = fieldrelaybox::find_word(text_options, word);
    if (row == nullptr)
        return false;
    options.*(row->field) = value;
    return true;
}

// What does not go together; null when all does.
const char* fault_of(const Options& options) {
    if (options.certificate_file.empty() != options.key_file.empty())
        return "--certificate and --key belong together";
    if (options.set_password && options.password_file.empty())
        return "--set-password needs --password-file FILE";
    return nullptr;
}

} // namespace

std::optional<Options> read_options(std::span<char* const> arguments, int& status) {
    Options options;
    for (std::size_t i = 1; i < arguments.size(); i++) {
        const std::string_view word = arguments[i];
        if (word == "--help" || word == "--version")
            return answer(status, word);
        if (word == "--set-password") {
            options.set_password = true;
            continue;
        }
        const bool has_value = i + 1 < arguments.size() && arguments[i + 1][0] != '\0';
        if (!has_value || !take_text(options, word, arguments[i + 1]))
            return refuse_usage(status, "unknown or incomplete argument ", arguments[i]);
        i++;
    }
    if (const char* const fault = fault_of(options))
        return refuse_usage(status, fault);
    if (options.page_directory.empty())
        options.page_directory = usual_page_directory();
    return options;
}

} // namespace panel
