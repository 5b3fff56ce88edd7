// rcin: from RC receivers and game pads to the channels in the status block.
#include "config/program_version.h"
#include "core/exit_status.h"
#include "core/log.h"
#include "core/signal_sets.h"
#include "core/word_table.h"
#include "rcin/calibration_file.h"
#include "rcin/devices.h"
#include "rcin/loop.h"
#include "rcin/show.h"

#include <array>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <span>
#include <string_view>
#include <sys/prctl.h>

namespace {

constexpr const char* help_text =
    "Usage: rcin [--config FILE]\n"
    "       rcin --show | --store-calibration | --help | --version\n"
    "\n"
    "Reads RC receivers or a game pad, as rc_input_mode and rc2_input_mode in fieldrelaybox.conf "
    "of\n"
    "the working directory say, and writes their channels into the status block of the daemon. "
    "Runs\n"
    "until it is ended.\n"
    "\n"
    "  --config FILE        the file that names the devices, in place of\n"
    "                       /etc/fieldrelaybox/rcin.conf\n"
    "  --show               show the channels of a running rcin, live; ends with 1 when there\n"
    "                       is no status block (no daemon has started) or it may not be read\n"
    "  --store-calibration  put a calibration that was learnt on the boot partition, and end\n"
    "  --help               print this text\n"
    "  --version            print the version\n";

int print_help() {
    std::fputs(help_text, stdout);
    return 0;
}

int print_version() {
    return fieldrelaybox::print_version_of("rcin");
}

int refuse(const char* argument) {
    std::fprintf(stderr, "rcin: unknown or incomplete argument \"%s\", see --help\n", argument);
    return fieldrelaybox::exit_wrong_usage;
}

int run(const char* devices_path) {
    fieldrelaybox::open_log();
    return rcin::run_loop(devices_path);
}

// "killall rcin" is meant for the one that reads receivers, not for a writer or an onlooker.
void be_called(const char* name) {
    prctl(PR_SET_NAME, name);
}

// Once begun it is carried through: a partition that is left unmounted hides the settings.
void hold_back_end_signals() {
    fieldrelaybox::hold_back_signals({SIGTERM, SIGINT});
}

int store_calibration() {
    be_called("rcin-store");
    hold_back_end_signals();
    fieldrelaybox::open_log();
    return rcin::carry_calibration_to_boot();
}

int show_channels() {
    be_called("rcin-show");
    return rcin::show_channels();
}

struct Answer {
    std::string_view word;
    int (*give)();
};

constexpr std::array<Answer, 4> answers{{
    {"--show", show_channels},
    {"--store-calibration", store_calibration},
    {"--help", print_help},
    {"--version", print_version},
}};

} // namespace

int main(int count, char** values) {
    const std::span<char* const> arguments(values, static_cast<std::size_t>(count));
    if (arguments.size() < 2)
        return run(rcin::devices_file);
    const std::string_view first = arguments[1];
    if (first == "--config" && arguments.size() >= 3)
        return arguments.size() == 3 ? run(arguments[2]) : refuse(arguments[3]);
    const Answer* const answer = fieldrelaybox::find_word(answers, first);
    if (answer == nullptr)
        return refuse(arguments[1]);
    return arguments.size() == 2 ? answer->give() : refuse(arguments[2]);
}
