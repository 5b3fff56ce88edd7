#include "config/config_saving.h"

#include "config/boot_partition.h"
#include "config/config_file.h"
#include "config/config_record.h"
#include "core/clock.h"
#include "core/lanes.h"
#include "core/log.h"
#include "core/shared_access.h"
#include "core/statistics.h"

#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace fieldrelaybox {

namespace {

std::mutex record_mutex; // short: no save copies half a change

struct Saving {
    std::mutex mutex{}; // short, guards the rest
    SaveTicket requested = 0;
    SaveTicket saved = 0; // up to here
    bool under_way = false;
    bool stopped = false;
    std::vector<SettingsCommands> commands{}; // of the requests that no save has taken up
};

Saving saving;

void copy_whole_record(ConfigRecord& copy) {
    const std::lock_guard lock(record_mutex);
    copy_config_record(copy);
}

// Returns false when the process is about to end: then nothing begins any more.
bool begin() {
    const std::lock_guard lock(saving.mutex);
    saving.under_way = !saving.stopped;
    return saving.under_way;
}

void end() {
    const std::lock_guard lock(saving.mutex);
    saving.under_way = false;
}

// What the next save contains, and what is to run after it.
SaveTicket take_requests(std::vector<SettingsCommands>& commands) {
    const std::lock_guard lock(saving.mutex);
    commands = std::exchange(saving.commands, {});
    return saving.requested;
}

void save_newest() {
    std::vector<SettingsCommands> commands;
    const SaveTicket ticket = take_requests(commands);
    save_config_file();
    for (SettingsCommands& each : commands)
        start_settings_commands(std::move(each));
    const std::lock_guard lock(saving.mutex);
    saving.saved = ticket;
}

// Returns false at the time limit.
bool await(int time_limit_ms, const std::function<bool()>& is_done) {
    constexpr int pause_ms = 10;
    const auto done = [&] {
        const std::lock_guard lock(saving.mutex);
        return is_done();
    };
    for (int waited = 0; !done(); waited += pause_ms) {
        if (waited >= time_limit_ms) {
            log_warning("a save is still under way after %d ms", time_limit_ms);
            return false;
        }
        sleep_us(std::int64_t{pause_ms} * 1000);
    }
    return true;
}

} // namespace

void save_config_file() {
    ConfigRecord record{};
    copy_whole_record(record);
    const bool saved = write_settings_to_boot(format_config_file(record));
    count(saved ? statistics().saves_done : statistics().saves_failed);
    store<std::uint64_t>(statistics().settings_unsaved, saved ? 0 : 1);
}

void change_settings(const std::function<void()>& change) {
    const std::lock_guard lock(record_mutex);
    change();
}

void request_save(SettingsCommands commands) {
    {
        const std::lock_guard lock(saving.mutex);
        ++saving.requested;
        saving.commands.push_back(std::move(commands));
    }
    run_between_saves("save", save_newest);
}

SaveTicket last_save_request() {
    const std::lock_guard lock(saving.mutex);
    return saving.requested;
}

bool await_save(SaveTicket ticket, int time_limit_ms) {
    return await(time_limit_ms, [ticket] { return saving.saved >= ticket; });
}

bool finish_saving(SaveTicket ticket, int time_limit_ms) {
    return await(time_limit_ms, [ticket] {
        saving.stopped |= saving.saved >= ticket;
        return saving.stopped && !saving.under_way;
    });
}

void run_between_saves(const char* kind, std::function<void()> body) {
    add_job("saving", {kind, [body = std::move(body)] {
                           if (!begin())
                               return;
                           const std::shared_ptr<void> ending(nullptr, [](void*) { end(); });
                           body();
                       }});
}

} // namespace fieldrelaybox
