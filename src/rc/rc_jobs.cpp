#include "rc/rc_jobs.h"

#include "camera/builders/gimbal.h"
#include "config/config_saving.h"
#include "config/setting_updates.h"
#include "config/settings_table.h"
#include "core/log.h"
#include "core/threads.h"

#include <array>
#include <mutex>
#include <span>
#include <string>
#include <utility>

namespace fieldrelaybox {

namespace {

using Jobs = std::array<std::uint8_t, waiting_job_capacity>;

struct JobQueue {
    const char* thread_name;
    void (*run)(std::span<const std::uint8_t> jobs); // on the queue's thread, all that waited
    std::mutex mutex{};                              // guards the rest
    Jobs jobs{};
    std::size_t count = 0;
    bool has_thread = false;
};

// Takes what waits; the thread ends when that is nothing.
std::size_t take_jobs(JobQueue& queue, Jobs& jobs) {
    const std::lock_guard lock(queue.mutex);
    jobs = queue.jobs;
    queue.has_thread = queue.count > 0;
    return std::exchange(queue.count, 0);
}

void run_jobs(JobQueue& queue) {
    Jobs jobs{};
    while (const std::size_t count = take_jobs(queue, jobs))
        run_guarded(queue.thread_name, [&] { queue.run(std::span(jobs).first(count)); });
}

void add_job(JobQueue& queue, std::uint8_t job) {
    const std::lock_guard lock(queue.mutex);
    if (queue.count == queue.jobs.size()) {
        log_warning("%s is busy, an RC command is dropped", queue.thread_name);
        return;
    }
    queue.jobs[queue.count++] = job;
    if (queue.has_thread)
        return;
    queue.has_thread = start_thread(queue.thread_name, [&queue] { run_jobs(queue); });
    if (!queue.has_thread)
        queue.count = 0;
}

void run_gimbal_jobs(std::span<const std::uint8_t> jobs) {
    for (const std::uint8_t job : jobs)
        gimbal_reset(static_cast<GimbalJob>(job) == GimbalJob::lock_orientation);
}

// In the order of FlippedSetting.
constexpr std::array flipped_settings{&setting_row("focus_assistant_enabled"),
                                      &setting_row("internal_camera_enabled"),
                                      &setting_row("osd_enabled")};

SettingsCommands commands_after(std::span<const std::uint8_t> flips) {
    SettingsCommands commands{};
    for (const std::uint8_t flip : flips) {
        const Setting& setting = *flipped_settings[flip];
        add_commands(setting, std::to_string(load_number(setting.field)), commands);
    }
    return commands;
}

void run_setting_flips(std::span<const std::uint8_t> flips) {
    change_settings(
        [flips] {
            for (const std::uint8_t flip : flips)
                flip_setting(*flipped_settings[flip]);
        },
        [flips] { queue_settings_commands(commands_after(flips)); });
    run_settings_commands();
}

JobQueue gimbal_jobs{"rc-gimbal", run_gimbal_jobs};
JobQueue setting_flips{"rc-settings", run_setting_flips};

} // namespace

void start_gimbal_job(GimbalJob job) {
    add_job(gimbal_jobs, static_cast<std::uint8_t>(job));
}

void start_setting_flip(FlippedSetting setting) {
    add_job(setting_flips, static_cast<std::uint8_t>(setting));
}

} // namespace fieldrelaybox
