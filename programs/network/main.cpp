// fieldrelaybox-network: makes the networks of the box those of its settings.
#include "config/program_version.h"
#include "core/exit_status.h"
#include "core/log.h"
#include "core/text.h"
#include "network/enforcement.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string_view>

namespace {

constexpr const char* help_text =
    "Usage: fieldrelaybox-network [--trial SECONDS | --accept | --keep-trying]\n"
    "       fieldrelaybox-network --print | --help | --version\n"
    "\n"
    "Joins the camera's network and the home network and runs the access point, as camera_*, "
    "wifi_*\n"
    "and ap_* in /run/fieldrelaybox.conf say. What is as they say stays as it is. A change that "
    "takes\n"
    "the only way into the box is undone when nobody comes by the new networks.\n"
    "\n"
    "  --trial SECONDS  how long to wait for somebody, 1 to 3600 (60)\n"
    "  --accept         keep the new networks without a trial, or end the one that runs\n"
    "  --keep-trying    after a step that failed, try again every minute until all is done\n"
    "  --print          print what would be done, and do nothing\n"
    "  --help           print this text\n"
    "  --version        print the version\n"
    "\n"
    "The exit status is 0 when the networks are as the settings say, 1 when a step failed, 2 for "
    "a\n"
    "wrong argument, 3 when the settings were refused or failed their trial.\n";

int refuse(const char* argument) {
    std::fprintf(stderr,
                 "fieldrelaybox-network: unknown or incomplete argument \"%s\", see --help\n",
                 argument);
    return fieldrelaybox::exit_wrong_usage;
}

int run(const network::Options& options) {
    fieldrelaybox::open_log();
    return network::make_networks(options);
}

int run_with_trial(const char* seconds) {
    constexpr int shortest = 1;
    constexpr int longest = 3600;
    const int number = fieldrelaybox::parse_decimal(seconds);
    if (number < shortest || number > longest)
        return refuse(seconds);
    return run({.trial_seconds = number});
}

} // namespace

int main(int count, char** values) {
    setenv("LC_ALL", "C", 1); // what nmcli answers is in the language of the system otherwise
    const std::span<char* const> arguments(values, static_cast<std::size_t>(count));
    if (arguments.size() < 2)
        return run({});
    const std::string_view first = arguments[1];
    if (first == "--trial")
        return arguments.size() == 3 ? run_with_trial(arguments[2]) : refuse(arguments.back());
    if (arguments.size() > 2)
        return refuse(arguments[2]);
    if (first == "--accept")
        return run({.without_trial = true});
    if (first == "--keep-trying")
        return run({.keep_trying = true});
    if (first == "--print")
        return network::print_plan();
    if (first == "--version")
        return fieldrelaybox::print_version_of("fieldrelaybox-network");
    if (first != "--help")
        return refuse(arguments[1]);
    std::fputs(help_text, stdout);
    return 0;
}
