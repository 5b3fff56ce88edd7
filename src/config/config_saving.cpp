#include "config/config_saving.h"

#include "config/boot_partition.h"
#include "config/config_file.h"
#include "config/config_record.h"
#include "config/settings.h"
#include "core/clock.h"
#include "core/log.h"
#include "core/shared_access.h"
#include "core/statistics.h"

#include <atomic>
#include <mutex>

namespace fieldrelaybox {

namespace {

std::mutex save_mutex; // one change-and-save at a time
std::atomic<bool> saving_stopped{false};

void warn_of_long_lines(const ConfigRecord& record) {
    for (const Setting& setting : settings()) {
        if (format_setting(setting, record).size() > longest_config_line)
            log_warning(
                "setting %.*s is too long to be read back whole from the configuration file",
                static_cast<int>(setting.key.size()), setting.key.data());
    }
}

// save_mutex is held.
void save_live_record() {
    ConfigRecord record{};
    copy_config_record(record);
    warn_of_long_lines(record);
    const bool saved = write_settings_to_boot(format_config_file(record));
    count(saved ? statistics().saves_done : statistics().saves_failed);
    store<std::uint64_t>(statistics().settings_unsaved, saved ? 0 : 1);
}

} // namespace

void save_config_file() {
    run_between_saves(save_live_record);
}

void change_settings(const std::function<void()>& change, const std::function<void()>& after_save) {
    run_between_saves([&] {
        change();
        save_live_record();
        after_save();
    });
}

void run_between_saves(const std::function<void()>& body) {
    const std::lock_guard lock(save_mutex);
    if (!saving_stopped)
        body();
}

void stop_saving(int time_limit_ms) {
    constexpr int pause_ms = 10;
    saving_stopped = true; // those that wait for the lock give it up at once
    for (int waited = 0; waited < time_limit_ms; waited += pause_ms) {
        if (save_mutex.try_lock())
            return; // and never unlocked
        sleep_us(std::int64_t{pause_ms} * 1000);
    }
    log_warning("a save is still under way after %d ms", time_limit_ms);
}

} // namespace fieldrelaybox
