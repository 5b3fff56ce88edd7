#include "config/config_saving.h"

#include "config/config_file.h"
#include "config/config_record.h"
#include "config/settings.h"
#include "core/clock.h"
#include "core/log.h"
#include "core/shell.h"
#include "core/statistics.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <string>
#include <unistd.h>

namespace fieldrelaybox {

namespace {

std::mutex save_mutex; // one change-and-save at a time
std::atomic<bool> saving_stopped{false};

bool write_whole(int file, const std::string& text) {
    const ssize_t written = write(file, text.data(), text.size());
    if (written == static_cast<ssize_t>(text.size()))
        return fsync(file) == 0;
    if (written >= 0)
        errno = ENOSPC;
    return false;
}

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
    run_shell_command("mount -o rw,remount /boot", boot_command_time_limit_ms);
    ConfigRecord record{};
    copy_config_record(record);
    warn_of_long_lines(record);
    const std::string text = format_config_file(record);
    const int file = open(config_file_path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (file < 0) {
        log_error("cannot open %s: %s", config_file_path, std::strerror(errno));
        count(statistics().saves_failed);
        return;
    }
    const bool whole = write_whole(file, text);
    if (!whole)
        log_error("cannot write %s: %s", config_file_path, std::strerror(errno));
    count(whole ? statistics().saves_done : statistics().saves_failed);
    close(file);
    run_shell_command("umount /boot", boot_command_time_limit_ms);
    run_shell_command("mount /boot", boot_command_time_limit_ms);
    run_shell_command(R"(cat /boot/fieldrelaybox.conf | sed 's/\r$//' > /run/fieldrelaybox.conf)",
                      boot_command_time_limit_ms);
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
