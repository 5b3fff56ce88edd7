#include "config/config_saving.h"

#include "config/boot_partition.h"
#include "config/config_file.h"
#include "config/config_record.h"
#include "config/late_settings.h"
#include "core/clock.h"
#include "core/lanes.h"
#include "core/log.h"
#include "core/shared_access.h"
#include "core/statistics.h"

#include <algorithm>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace fieldrelaybox {

namespace {

constexpr auto none = std::numeric_limits<SaveTicket>::max();

struct Saving {
    std::mutex mutex{}; // short, guards the rest
    SaveTicket requested = 0;
    std::map<std::string, SaveTicket> waiting{}; // by kind: the first that nothing has begun for
    SaveTicket under_way = none;                 // the first that the job under way is for
    const char* kind = "";                       // of that job
    std::int64_t begun_ms = 0;                   // timer clock
    bool told_slow = false;
    bool stopped = false;
    std::vector<SettingsCommands> commands{}; // of the requests that no save has taken up
};

Saving saving;

constexpr const char* save_kind = "save";

// saving.mutex is held in these.
bool is_done(SaveTicket ticket) {
    return saving.under_way > ticket &&
           std::ranges::all_of(saving.waiting,
                               [ticket](const auto& entry) { return entry.second > ticket; });
}

void note_request(const char* kind) {
    saving.waiting.try_emplace(kind, ++saving.requested);
}

// What waits of the same kind gives way, as it does in a lane: there are only so many kinds.
void keep_commands(SettingsCommands commands) {
    if (commands.texts.empty())
        return;
    const auto same = [&](const SettingsCommands& other) { return other.kind == commands.kind; };
    count(statistics().commands_merged, std::erase_if(saving.commands, same));
    saving.commands.push_back(std::move(commands));
}

void settle(bool saved) {
    if (saved && !saving.waiting.contains(save_kind))
        store<std::uint64_t>(statistics().settings_unsaved, 0);
}

// Returns false when the process is about to end: then nothing begins any more.
bool begin(const char* kind) {
    const std::lock_guard lock(saving.mutex);
    if (saving.stopped)
        return false;
    const auto request = saving.waiting.extract(kind);
    saving.under_way = request.empty() ? saving.requested : request.mapped();
    saving.kind = kind;
    saving.begun_ms = timer_clock();
    saving.told_slow = false;
    return true;
}

void end() {
    const std::lock_guard lock(saving.mutex);
    saving.under_way = none;
}

std::vector<SettingsCommands> take_commands() {
    const std::lock_guard lock(saving.mutex);
    return std::exchange(saving.commands, {});
}

std::string text_to_save(const std::string& whole_file) {
    take_late_settings(whole_file);
    ConfigRecord record{};
    copy_between_changes(record);
    return format_config_file(record);
}

void save_newest() {
    std::vector<SettingsCommands> commands = take_commands();
    save_config_file();
    for (SettingsCommands& each : commands)
        start_settings_commands(std::move(each));
}

// A request has been noted.
void add_saving_job(const char* kind, std::function<void()> body) {
    add_job("saving", {kind, [kind, body = std::move(body)] {
                           if (!begin(kind))
                               return;
                           const std::shared_ptr<void> ending(nullptr, [](void*) { end(); });
                           body();
                       }});
}

// Returns false at the time limit.
bool await(int time_limit_ms, const std::function<bool()>& condition) {
    const bool done = wait_for_condition(time_limit_ms, [&] {
        const std::lock_guard lock(saving.mutex);
        return condition();
    });
    if (!done)
        log_warning("a save is still under way after %d ms", time_limit_ms);
    return done;
}

} // namespace

void save_config_file() {
    const bool saved = write_settings_to_boot(text_to_save);
    {
        const std::lock_guard lock(saving.mutex);
        settle(saved);
    }
    count(saved ? statistics().saves_done : statistics().saves_failed);
}

void request_save(SettingsCommands commands) {
    {
        const std::lock_guard lock(saving.mutex);
        note_request(save_kind);
        store<std::uint64_t>(statistics().settings_unsaved, 1);
        keep_commands(std::move(commands));
    }
    add_saving_job(save_kind, save_newest);
}

SaveTicket last_save_request() {
    const std::lock_guard lock(saving.mutex);
    return saving.requested;
}

bool await_save(SaveTicket ticket, int time_limit_ms) {
    return await(time_limit_ms, [ticket] { return is_done(ticket); });
}

bool finish_saving(SaveTicket ticket, int time_limit_ms) {
    return await(time_limit_ms, [ticket] {
        saving.stopped |= is_done(ticket);
        return saving.stopped && saving.under_way == none;
    });
}

void run_between_saves(const char* kind, std::function<void()> body) {
    {
        const std::lock_guard lock(saving.mutex);
        note_request(kind);
    }
    add_saving_job(kind, std::move(body));
}

void tell_of_slow_save(std::int64_t now) {
    const std::lock_guard lock(saving.mutex);
    if (saving.under_way == none || saving.told_slow ||
        !has_passed(now, saving.begun_ms, slow_save_ms))
        return;
    saving.told_slow = true;
    log_warning("%s: under way at the boot partition for more than %d s", saving.kind,
                slow_save_ms / 1000);
}

} // namespace fieldrelaybox
