#include "stream/launcher.h"

#include "config/config_start.h"
#include "core/clock.h"
#include "core/exit_status.h"
#include "core/log.h"
#include "stream/child.h"
#include "stream/complaints.h"
#include "stream/repeats.h"
#include "stream/settings_watch.h"
#include "stream/signals.h"
#include "stream/supervision.h"
#include "stream/surroundings.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <poll.h>
#include <utility>
#include <vector>

namespace stream {

namespace {

constexpr std::int64_t look_ms = 1000;                // at files that cannot be watched
constexpr std::int64_t longest_silent_pause_ms = 500; // before a start that is told of
constexpr std::int64_t replan_ms = 5000;              // when something was missing

struct Launcher {
    const Kind* kind;
    Surroundings surroundings;
    sigset_t caller_mask{};
    int signals = -1;
    FileWatch watch{};
    std::optional<ConfigRecord> settings{};
    bool told_missing = false; // that whole settings are waited for
    Plan plan{};
    std::int64_t planned_ms = 0;
    std::int64_t looked_ms = 0;
    Supervision supervision{};
    Child child{};
    std::optional<Command> command{}; // that the child runs, or ran last
    bool was_off = true;              // since the last start
    std::string ended{};              // how the last one ended, where no fault was told
    Complaint complaint{};
    Told told{};
};

std::string without_secrets(const Launcher& launcher, const std::string& text) {
    const Words arguments = launcher.command ? launcher.command->arguments : Words{};
    return masked(masked(text, secrets_of({text})), secrets_of(arguments));
}

void tell(const Launcher& launcher, const std::string& words) {
    fieldrelaybox::log_line("%s: %s", launcher.kind->name.data(), words.c_str());
}

void warn(const Launcher& launcher, const std::string& words) {
    fieldrelaybox::log_warning("%s: %s", launcher.kind->name.data(), words.c_str());
}

// A cause that can come again and again, with what follows from it.
void warn_of_fault(Launcher& launcher, std::int64_t now, const std::string& cause,
                   std::int64_t pause_ms) {
    const std::string consequence = "trying again in " + std::to_string(pause_ms / 1000) + " s";
    if (const auto line = line_for(launcher.told, now, cause, consequence)) {
        warn(launcher, *line);
        launcher.told.awaits_recovery = true;
    }
}

void tell_missing(Launcher& launcher) {
    if (!std::exchange(launcher.told_missing, true))
        tell(launcher,
             std::string("waits for whole settings in ") + fieldrelaybox::config_file_name);
}

void make_plan(Launcher& launcher, std::int64_t now) {
    launcher.planned_ms = now;
    if (!launcher.settings && launcher.kind->needs_settings)
        return;
    const ConfigRecord settings =
        launcher.settings.value_or(fieldrelaybox::settings_without_file());
    Plan plan = launcher.kind->plan(settings, launcher.surroundings);
    Supervision& supervision = launcher.supervision;
    const bool told_at_the_end = supervision.running && !plan.command;
    if (plan.fault != launcher.plan.fault && !plan.fault.empty() && !told_at_the_end)
        warn(launcher, without_secrets(launcher, plan.fault));
    if (plan.command != launcher.plan.command) {
        note_other_command(supervision);
        launcher.told = {};
    }
    launcher.plan = std::move(plan);
    supervision.wanted = launcher.plan.command.has_value();
    supervision.outdated = supervision.running && launcher.command != launcher.plan.command;
    launcher.was_off = launcher.was_off || !supervision.wanted;
}

void read_files(Launcher& launcher, std::int64_t now) {
    launcher.looked_ms = now;
    const auto settings = fieldrelaybox::read_whole_settings(fieldrelaybox::config_file_name);
    if (settings)
        launcher.settings = settings;
    else if (!launcher.settings && launcher.kind->needs_settings)
        tell_missing(launcher);
    make_plan(launcher, now);
}

void follow_files(Launcher& launcher, std::int64_t now) {
    const FileEvent event = take_events(launcher.watch);
    const bool left_unfinished = was_left_unfinished(launcher.supervision, now);
    if (left_unfinished && event == FileEvent::none)
        forget_writers(launcher.watch);
    const bool being_written = is_being_written(launcher.watch);
    if (event != FileEvent::none || left_unfinished)
        note_change(launcher.supervision, now, being_written);
    const bool look =
        !launcher.watch.complete && fieldrelaybox::has_passed(now, launcher.looked_ms, look_ms);
    if (!being_written && (event == FileEvent::written || look || left_unfinished))
        read_files(launcher, now);
    else if (!being_written && !launcher.plan.fault.empty() &&
             fieldrelaybox::has_passed(now, launcher.planned_ms, replan_ms))
        make_plan(launcher, now);
}

void follow_errors(Launcher& launcher, std::int64_t now) {
    read_errors(launcher.child, [&](std::string_view line) { hear(launcher.complaint, line); });
    if (launcher.complaint.failed && !launcher.supervision.complained_ms)
        launcher.supervision.complained_ms = now;
}

void tell_wished_end(const Launcher& launcher) {
    if (launcher.supervision.stopping)
        tell(launcher, "ended");
    else if (!launcher.supervision.wanted)
        tell(launcher,
             "ended: " + (launcher.plan.fault.empty()
                              ? "switched off (" + std::string(launcher.kind->off_reason) + ")"
                              : without_secrets(launcher, launcher.plan.fault)));
}

// One that is started again soon is told of when it is: it may be other settings that ended it.
void tell_end(Launcher& launcher, std::int64_t now, std::int64_t pause_ms, const ChildEnd& end) {
    const std::string said = end.ending == Ending::fault ? cause_of(launcher.complaint) : "";
    const std::string cause = said.empty() ? end.words : without_secrets(launcher, said);
    if (pause_ms > longest_silent_pause_ms)
        warn_of_fault(launcher, now, cause, pause_ms);
    else
        launcher.ended = cause;
}

void follow_child(Launcher& launcher, std::int64_t now) {
    follow_errors(launcher, now);
    ChildEnd end{};
    if (!take_end(launcher.child, launcher.complaint.failed, end))
        return;
    follow_errors(launcher, now); // what it said before it ended
    if (launcher.supervision.asked_ms)
        end.ending = launcher.supervision.hung ? Ending::fault : Ending::asked;
    else if (end.ending == Ending::outside && launcher.complaint.failed)
        end.ending = Ending::fault;
    forget_child(launcher.child);
    const std::int64_t pause_ms = note_end(launcher.supervision, now, end.ending);
    if (end.ending == Ending::asked)
        tell_wished_end(launcher);
    else
        tell_end(launcher, now, pause_ms, end);
}

void tell_start(Launcher& launcher, std::int64_t now, bool other_command) {
    if (launcher.was_off)
        tell(launcher, "started");
    else if (other_command)
        tell(launcher, "started anew: its settings changed");
    else if (launcher.ended.empty())
        return;
    else if (const auto line = line_for(launcher.told, now, launcher.ended, "started again"))
        tell(launcher, *line);
}

// False while there are none that may count: those of before may be old.
bool has_settings_to_start(Launcher& launcher, std::int64_t now) {
    const auto settings = fieldrelaybox::read_whole_settings(fieldrelaybox::config_file_name);
    if (settings) {
        launcher.told_missing = false;
        if (!launcher.watch.complete) // nobody told when they changed
            launcher.settings = settings;
        return true;
    }
    const bool soon = wait_for_rest(launcher.supervision, now);
    if (!soon && launcher.kind->needs_settings)
        tell_missing(launcher);
    else if (!soon)
        launcher.settings.reset();
    return !soon && !launcher.kind->needs_settings;
}

void start(Launcher& launcher, std::int64_t now) {
    if (!has_settings_to_start(launcher, now))
        return;
    make_plan(launcher, now); // what it is made for can have come or gone meanwhile
    if (!launcher.plan.command)
        return;
    const bool other_command = launcher.command != launcher.plan.command;
    launcher.command = launcher.plan.command;
    launcher.complaint = {};
    note_start(launcher.supervision, now);
    if (!start_child(launcher.child, *launcher.command, launcher.caller_mask)) {
        note_end(launcher.supervision, now, Ending::fault);
        return;
    }
    tell_start(launcher, now, other_command);
    launcher.was_off = false;
    launcher.ended.clear();
}

// Until when there is nothing to do; nothing when the launcher is to end.
std::optional<Decision> act(Launcher& launcher, std::int64_t now) {
    while (true) {
        const Decision decision = decide(launcher.supervision, now);
        if (decision.action == Action::wait)
            return decision;
        if (decision.action == Action::leave)
            return std::nullopt;
        if (decision.action == Action::start)
            start(launcher, now);
        else
            signal_child(launcher.child, decision.action == Action::ask ? SIGTERM : SIGKILL);
        if (decision.action == Action::ask)
            note_request(launcher.supervision, now);
        launcher.supervision.killed |= decision.action == Action::kill;
    }
}

// When the program began to do its work again, as far as that can be told.
std::optional<std::int64_t> awaited_recovery(const Launcher& launcher) {
    return launcher.supervision.running
               ? recovery_ms(launcher.told, launcher.supervision.started_ms)
               : std::nullopt;
}

void follow_recovery(Launcher& launcher, std::int64_t now) {
    if (now < awaited_recovery(launcher).value_or(now + 1))
        return;
    launcher.told.awaits_recovery = false;
    tell(launcher, "runs again");
}

void wait_for_events(const Launcher& launcher, std::optional<std::int64_t> until,
                     std::int64_t now) {
    const auto at_the_latest = [&](std::int64_t then) {
        until = std::min(until.value_or(then), then);
    };
    if (!launcher.watch.complete)
        at_the_latest(now + look_ms);
    if (!launcher.plan.fault.empty() || launcher.supervision.being_written)
        at_the_latest(now + replan_ms);
    if (const std::optional<std::int64_t> recovery = awaited_recovery(launcher))
        at_the_latest(*recovery);
    std::array<pollfd, 3> waiting{
        {{.fd = launcher.watch.descriptor, .events = POLLIN, .revents = 0},
         {.fd = launcher.signals, .events = POLLIN, .revents = 0},
         {.fd = launcher.child.errors, .events = POLLIN, .revents = 0}}};
    const std::int64_t left = until ? std::max<std::int64_t>(*until - now, 0) : -1;
    poll(waiting.data(), waiting.size(), static_cast<int>(left));
}

} // namespace

int run_launcher(const Kind& kind, Surroundings surroundings) {
    fieldrelaybox::open_log();
    Launcher launcher{.kind = &kind, .surroundings = std::move(surroundings)};
    launcher.supervision.longest_pause_ms = kind.longest_pause_ms;
    launcher.signals = open_signals(launcher.caller_mask);
    if (launcher.signals < 0) {
        warn(launcher, std::string("no signals to be had: ") + std::strerror(errno));
        return fieldrelaybox::exit_unable;
    }
    std::vector<std::string> files{fieldrelaybox::config_file_name};
    if (kind.reads_source_config)
        files.push_back(launcher.surroundings.source_config);
    start_watching(launcher.watch, std::move(files));
    note_change(launcher.supervision, fieldrelaybox::timer_clock(), false);
    read_files(launcher, fieldrelaybox::timer_clock());
    while (const std::optional<Decision> decision = act(launcher, fieldrelaybox::timer_clock())) {
        wait_for_events(launcher, decision->until_ms, fieldrelaybox::timer_clock());
        const std::int64_t now = fieldrelaybox::timer_clock();
        follow_files(launcher, now);
        launcher.supervision.stopping |= take_signals(launcher.signals);
        follow_child(launcher, now);
        follow_recovery(launcher, now);
        fieldrelaybox::flush_log();
    }
    signal_child(launcher.child, SIGKILL);
    return 0;
}

} // namespace stream
