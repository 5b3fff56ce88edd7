#include "config/boot_partition.h"

#include "config/boot_mounting.h"
#include "config/whole_files.h"
#include "core/log.h"

namespace fieldrelaybox {

namespace {

Failure told_failure; // of the last save

std::string master_file() {
    return follow_links(config_file_path).string();
}

std::string second_file(const std::string& master) {
    return master + ".bak";
}

// The newest that is whole, or "".
std::string whole_file(const std::string& master) {
    for (const std::string& file : {master, second_file(master)}) {
        if (holds_whole_settings(read_file(file)))
            return file;
    }
    return {};
}

// One after the other, and first the one that is not the only whole one.
Failure write_to_card(const std::string& master, const std::string& whole,
                      const std::string& text) {
    const std::string second = second_file(master);
    const bool only_second_is_whole = whole == second;
    const Failure failure = only_second_is_whole ? "" : write_file_or_none(second, text);
    return failure.empty() ? write_file(master, text) : failure;
}

Failure read_back(const std::string& master, const std::string& text) {
    return read_file(master) == text ? "" : master + " is not as it was written";
}

std::string with_unix_line_ends(std::string text) {
    for (std::size_t at = 0; (at = text.find("\r\n", at)) != std::string::npos;)
        text.erase(at, 1);
    return text;
}

Failure refresh_run_copy(const std::string& text) {
    const std::string fresh = std::string(run_copy_path) + ".new";
    const Failure failure = write_file_or_none(fresh, with_unix_line_ends(text));
    return failure.empty() ? rename_file(fresh, run_copy_path) : failure;
}

struct Saved {
    bool on_card;
    Failure failure; // also of what comes after the card
};

Saved save(const TextToSave& text_to_save) {
    const std::string point = boot_mount_point_of(master_file());
    Failure failure = make_writable(point);
    if (!failure.empty())
        return {false, failure};
    const std::string master = master_file(); // a link on the partition is seen only now
    const std::string whole = whole_file(master);
    const std::string text = text_to_save(whole);
    failure = write_to_card(master, whole, text);
    if (failure.empty())
        failure = mount_anew(point);
    if (failure.empty())
        failure = read_back(master, text);
    if (!failure.empty())
        return {false, failure};
    return {true, refresh_run_copy(text)};
}

void tell(const Failure& failure) {
    if (failure == told_failure)
        return;
    told_failure = failure;
    if (failure.empty())
        log_line("settings are saved again");
    else
        log_error("%s", failure.c_str());
}

} // namespace

bool write_settings_to_boot(const TextToSave& text_to_save) {
    const BootTurn turn = take_boot_turn();
    const Saved saved = save(text_to_save);
    tell(saved.failure);
    return saved.on_card;
}

} // namespace fieldrelaybox
