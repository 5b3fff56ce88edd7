// stream KIND: runs the program that serves a kind of output or input, as the settings say.
#include "config/config_file.h"
#include "config/config_start.h"
#include "core/exit_status.h"
#include "stream/kinds.h"

#include <cstdio>
#include <filesystem>

namespace {

int list_kinds() {
    for (const stream::Kind& kind : stream::kinds())
        std::printf("%-10.*s %.*s\n", static_cast<int>(kind.name.size()), kind.name.data(),
                    static_cast<int>(kind.help.size()), kind.help.data());
    return 0;
}

int print_command(const stream::Kind& kind) {
    ConfigRecord settings{};
    fieldrelaybox::set_defaults_before_loading(settings);
    fieldrelaybox::load_config_file(fieldrelaybox::config_file_name, settings);
    fieldrelaybox::set_defaults_after_loading(settings);
    const stream::Plan plan = kind.plan(
        settings, {.folder = std::filesystem::read_symlink("/proc/self/exe").parent_path(),
                   .source_config = "/etc/fieldrelaybox/source.conf",
                   .has_element = [](std::string_view) { return false; }});
    if (!plan.command)
        return fieldrelaybox::exit_unable;
    std::printf("%s", plan.command->program.c_str());
    for (const std::string& word : plan.command->arguments)
        std::printf(" '%s'", word.c_str());
    std::puts("");
    return 0;
}

} // namespace

int main(int count, char** arguments) {
    const std::string first = count > 1 ? arguments[1] : "";
    if (first == "--list")
        return list_kinds();
    const stream::Kind* kind = stream::find_kind(first);
    return kind == nullptr ? fieldrelaybox::exit_wrong_usage : print_command(*kind);
}
