#include "config/boot_partition.h"

#include "core/log.h"
#include "core/shell.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace fieldrelaybox {

namespace {

bool write_whole(int file, const std::string& text) {
    const ssize_t written = write(file, text.data(), text.size());
    if (written == static_cast<ssize_t>(text.size()))
        return fsync(file) == 0;
    if (written >= 0)
        errno = ENOSPC;
    return false;
}

} // namespace

bool write_settings_to_boot(const std::string& text) {
    run_shell_command("mount -o rw,remount /boot", boot_command_time_limit_ms);
    const int file = open(config_file_path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (file < 0) {
        log_error("cannot open %s: %s", config_file_path, std::strerror(errno));
        return false;
    }
    const bool whole = write_whole(file, text);
    if (!whole)
        log_error("cannot write %s: %s", config_file_path, std::strerror(errno));
    close(file);
    run_shell_command("umount /boot", boot_command_time_limit_ms);
    run_shell_command("mount /boot", boot_command_time_limit_ms);
    run_shell_command(R"(cat /boot/fieldrelaybox.conf | sed 's/\r$//' > /run/fieldrelaybox.conf)",
                      boot_command_time_limit_ms);
    return whole;
}

} // namespace fieldrelaybox
