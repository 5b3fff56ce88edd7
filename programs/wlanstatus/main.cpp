// wlanstatus INTERFACE: prints the interface's current Wi-Fi link as JSON lines. Without a link it
// prints nothing and ends with status 1.
#include "config/program_version.h"
#include "core/exit_status.h"
#include "core/word_table.h"
#include "wlanstatus/nl80211_link.h"

#include <array>
#include <cstdio>
#include <span>
#include <string_view>

namespace {

constexpr const char* help_text = "Usage: wlanstatus INTERFACE | --help | --version\n"
                                  "\n"
                                  "Prints the Wi-Fi link of an interface: two lines of JSON, or "
                                  "none and status 1 without a link.\n"
                                  "\n"
                                  "Example: wlanstatus wlan0\n";

int print_help() {
    return std::fputs(help_text, stdout) < 0 ? fieldrelaybox::exit_unable : 0;
}

int print_version() {
    return fieldrelaybox::print_version_of("wlanstatus");
}

int refuse(const char* words, const char* argument) {
    std::fprintf(stderr, "wlanstatus: %s \"%s\", see --help\n", words, argument);
    return fieldrelaybox::exit_wrong_usage;
}

int print_link(const char* interface) {
    const std::optional<wlanstatus::Link> link = wlanstatus::query_link(interface);
    if (!link)
        return 1;
    const std::string report = wlanstatus::format_report(*link);
    return std::fputs(report.c_str(), stdout) < 0 || std::fflush(stdout) != 0 ? 1 : 0;
}

struct Answer {
    std::string_view word;
    int (*give)();
};

constexpr std::array<Answer, 2> answers{{
    {"--help", print_help},
    {"--version", print_version},
}};

} // namespace

int main(int count, char** values) {
    const std::span<char* const> arguments(values, static_cast<std::size_t>(count));
    if (arguments.size() < 2)
        return refuse("it takes an interface, not", "");
    const char* const first = arguments[1];
    if (arguments.size() > 2)
        return refuse("unknown argument", arguments[2]);
    if (const Answer* const answer = fieldrelaybox::find_word(answers, first))
        return answer->give();
    return first[0] == '-' ? refuse("unknown argument", first) : print_link(first);
}
