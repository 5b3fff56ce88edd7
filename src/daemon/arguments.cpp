#include "daemon/arguments.h"

#include "config/config_file.h"
#include "config/config_start.h"
#include "config/program_version.h"
#include "core/exit_status.h"
#include "core/log.h"
#include "core/log_text.h"
#include "core/word_table.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

namespace fieldrelaybox {

namespace {

constexpr int exit_faults_found = 1;

constexpr const char* help_text =
    "Usage: fieldrelaybox [--version | --help | --check-config [FILE]]\n"
    "\n"
    "Without an argument it is the daemon: it reads fieldrelaybox.conf of the working directory "
    "and\n"
    "runs until it is ended. With one it answers and starts nothing.\n"
    "\n"
    "  --version              print the version\n"
    "  --help                 print this text\n"
    "  --check-config [FILE]  list what is wrong with the settings in FILE, or else in\n"
    "                         fieldrelaybox.conf, as the daemon would log it; the exit status is "
    "1\n"
    "                         when there is something\n";

int print_version(const char* /*file*/) {
    return print_version_of("fieldrelaybox");
}

int print_help(const char* /*file*/) {
    std::fputs(help_text, stdout);
    return 0;
}

int check_config(const char* file) {
    ConfigRecord record{};
    int status = 0;
    load_config_file(file == nullptr ? config_file_name : file, record,
                     [&status](const std::string& line) {
                         std::fputs((shown_text(line) + '\n').c_str(), stdout);
                         status = exit_faults_found;
                     });
    return status;
}

struct Option {
    std::string_view word;
    std::size_t most_arguments; // itself included
    int (*answer)(const char* file);
};

constexpr std::array<Option, 3> options{{
    {"--version", 1, print_version},
    {"--help", 1, print_help},
    {"--check-config", 2, check_config},
}};

// Unlike the log, an answer waits for whoever reads it, so that it comes whole.
int give_answer(const Option& option, const char* file) {
    const int status = option.answer(file);
    if (std::fflush(stdout) == 0)
        return status;
    log_error("fieldrelaybox: cannot write the answer: %s", std::strerror(errno));
    return exit_unable;
}

} // namespace

std::optional<int> answer_arguments(std::span<const char* const> arguments) {
    if (arguments.empty())
        return std::nullopt;
    const Option* option = find_word(options, arguments.front());
    if (option != nullptr && arguments.size() <= option->most_arguments)
        return give_answer(*option, arguments.size() > 1 ? arguments[1] : nullptr);
    log_error("fieldrelaybox: unknown argument \"%s\", see --help",
              option == nullptr ? arguments.front() : arguments[option->most_arguments]);
    return exit_wrong_usage;
}

} // namespace fieldrelaybox
