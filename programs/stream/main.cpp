// stream KIND: runs the program that serves a kind of output or input, as the settings say.
#include "config/config_start.h"
#include "config/program_version.h"
#include "core/exit_status.h"
#include "core/word_table.h"
#include "stream/kinds.h"
#include "stream/launcher.h"
#include "stream/settings_watch.h"
#include "stream/surroundings.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace {

constexpr const char* help_text =
    "Usage: stream KIND [--print] [--config FILE]\n"
    "       stream --list | --help | --version\n"
    "\n"
    "Runs the program that serves a kind of stream while it is switched on in fieldrelaybox.conf "
    "of\n"
    "the working directory: starts it anew when its own settings change, and again when it ends "
    "by\n"
    "itself. Runs until it is ended.\n"
    "\n"
    "  --print        print the command that would run, for a shell, and end; the exit status is "
    "1\n"
    "                 when the kind is off\n"
    "  --config FILE  for source and sound: the file that names them, in place of\n"
    "                 /etc/fieldrelaybox/source.conf\n"
    "  --list         print the kinds\n"
    "  --help         print this text\n"
    "  --version      print the version\n"
    "\n"
    "Example: what serves players at tcp_port, with more of what it has to say\n"
    "  sudo systemctl stop fieldrelaybox-stream@tcp; cd /usr/lib/fieldrelaybox\n"
    "  sudo sh -c 'eval \"GST_DEBUG=3 $(bin/stream tcp --print)\"'\n";

int list_kinds() {
    for (const stream::Kind& kind : stream::kinds())
        std::printf("%-10.*s %.*s\n", static_cast<int>(kind.name.size()), kind.name.data(),
                    static_cast<int>(kind.help.size()), kind.help.data());
    return 0;
}

int print_help() {
    std::fputs(help_text, stdout);
    return 0;
}

int print_version() {
    return fieldrelaybox::print_version_of("stream");
}

int refuse(const char* words, const char* argument) {
    std::fprintf(stderr, "stream: %s \"%s\", see --help\n", words, argument);
    return fieldrelaybox::exit_wrong_usage;
}

int tell_fault(const stream::Kind& kind, const std::string& reason) {
    std::fprintf(stderr, "%s: %s\n", kind.name.data(), reason.c_str());
    return fieldrelaybox::exit_unable;
}

int print_command(const stream::Kind& kind, const stream::Surroundings& surroundings) {
    const std::optional<ConfigRecord> settings =
        fieldrelaybox::read_whole_settings(fieldrelaybox::config_file_name);
    if (!settings && kind.needs_settings)
        return tell_fault(kind, std::string("no settings in ") + fieldrelaybox::config_file_name);
    const stream::Plan plan =
        kind.plan(settings.value_or(fieldrelaybox::settings_without_file()), surroundings);
    if (!plan.command)
        return tell_fault(kind, plan.fault.empty()
                                    ? "switched off (" + std::string(kind.off_reason) + ")"
                                    : plan.fault);
    if (!plan.fault.empty())
        tell_fault(kind, plan.fault);
    const std::string plugins = stream::plugin_folder(surroundings.folder);
    std::string line =
        plugins.empty() ? "" : "GST_PLUGIN_PATH=" + stream::shell_word(plugins) + ' ';
    line += stream::shell_word(plan.command->program);
    for (const std::string& word : plan.command->arguments)
        line += ' ' + stream::shell_word(word);
    std::puts(line.c_str());
    return 0;
}

int run_kind(const stream::Kind& kind, std::span<char* const> options) {
    bool print = false;
    std::string config = "/etc/fieldrelaybox/source.conf";
    for (; !options.empty(); options = options.subspan(1)) {
        if (std::strcmp(options.front(), "--print") == 0)
            print = true;
        else if (std::strcmp(options.front(), "--config") == 0 && options.size() > 1 &&
                 kind.reads_source_config) {
            options = options.subspan(1);
            config = options.front();
        } else
            return refuse("unknown or incomplete argument", options.front());
    }
    stream::Surroundings surroundings = stream::find_surroundings(std::move(config));
    stream::set_environment(surroundings);
    return print ? print_command(kind, surroundings)
                 : stream::run_launcher(kind, std::move(surroundings));
}

struct Answer {
    std::string_view word;
    int (*give)();
};

constexpr std::array<Answer, 3> answers{{
    {"--list", list_kinds},
    {"--help", print_help},
    {"--version", print_version},
}};

} // namespace

int main(int count, char** values) {
    const std::span<char* const> arguments(values, static_cast<std::size_t>(count));
    if (arguments.size() < 2)
        return refuse("it takes a kind of stream, not", "");
    const char* const first = arguments[1];
    if (const Answer* answer = fieldrelaybox::find_word(answers, first))
        return arguments.size() == 2 ? answer->give() : refuse("unknown argument", arguments[2]);
    const stream::Kind* const kind = stream::find_kind(first);
    return kind == nullptr ? refuse("unknown kind of stream", first)
                           : run_kind(*kind, arguments.subspan(2));
}
