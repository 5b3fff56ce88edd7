#include "rc/rc_jobs.h"

#include "camera/builders/gimbal.h"
#include "config/config_record.h"
#include "config/config_saving.h"
#include "config/settings_commands.h"
#include "core/log.h"
#include "core/shared_access.h"
#include "core/status_block.h"
#include "core/threads.h"

#include <algorithm>
#include <mutex>
#include <span>
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

struct SettingRow {
    std::uint8_t ConfigRecord::*setting;
    std::uint8_t StatusBlock::*mirror;
    const char* restart_command; // null: nobody has to be restarted
};

// In the order of FlippedSetting.
constexpr std::array<SettingRow, 3> setting_rows{{
    {&ConfigRecord::focus_assistant_enabled, &StatusBlock::focus_assistant_enabled, nullptr},
    {&ConfigRecord::internal_camera_enabled, &StatusBlock::internal_camera_enabled,
     "killall -q raspivid"},
    {&ConfigRecord::osd_enabled, &StatusBlock::osd_enabled, nullptr},
}};

void flip(const SettingRow& row) {
    std::uint8_t& setting = config_record().*row.setting;
    const std::uint8_t flipped = load(setting) == 0 ? 1 : 0;
    store(setting, flipped);
    store(status_block().*row.mirror, flipped);
}

SettingsCommands restart_commands(std::span<const std::uint8_t> flips) {
    SettingsCommands commands{};
    for (std::size_t i = 0; i < setting_rows.size(); ++i) {
        const bool flipped = std::find(flips.begin(), flips.end(), i) != flips.end();
        if (flipped && setting_rows[i].restart_command != nullptr)
            commands.texts.emplace_back(setting_rows[i].restart_command);
    }
    return commands;
}

void run_setting_flips(std::span<const std::uint8_t> flips) {
    change_settings(
        [flips] {
            for (const std::uint8_t setting : flips)
                flip(setting_rows[setting]);
        },
        [flips] { queue_settings_commands(restart_commands(flips)); });
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
