#include "stream/supervision.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace stream {

namespace {

// Whoever changes a setting ends the program right behind it: with a start in between, it would be
// started twice. Settings that never come to rest are not waited for endlessly.
constexpr std::int64_t quiet_ms = 250;
constexpr std::int64_t longest_unrest_ms = 1000;
constexpr std::int64_t longest_writing_pause_ms = 5000;

constexpr std::int64_t patience_ms = 700;      // of whom is asked to end
constexpr std::int64_t last_patience_ms = 950; // then the launcher ends without its child
constexpr std::int64_t complaint_ms = 300;     // some programs tell of a failure and hang
constexpr std::int64_t quick_pause_ms = 100;   // so that ports are free again
constexpr std::int64_t short_run_ms = 1000;    // this often in a row, it is no accident
constexpr int most_short_runs = 3;
constexpr std::int64_t long_run_ms = 10'000; // a fault behind it is a new one
constexpr std::array<std::int64_t, 4> fault_pauses_ms{1000, 2000, 4000, 5000};

std::int64_t settled_ms(const Supervision& supervision) {
    if (!supervision.first_change_ms)
        return 0;
    if (supervision.being_written)
        return supervision.last_change_ms + longest_writing_pause_ms;
    return std::min(supervision.last_change_ms + quiet_ms,
                    *supervision.first_change_ms + longest_unrest_ms);
}

// Wait until then, or act when it is past.
Decision at(std::int64_t then, std::int64_t now, Action action) {
    return now >= then ? Decision{action, std::nullopt} : Decision{Action::wait, then};
}

Decision decide_ending(const Supervision& supervision, std::int64_t now) {
    if (!supervision.killed)
        return at(*supervision.asked_ms + patience_ms, now, Action::kill);
    if (!supervision.stopping)
        return {Action::wait, std::nullopt};
    return at(*supervision.asked_ms + last_patience_ms, now, Action::leave);
}

Decision decide_running(const Supervision& supervision, std::int64_t now) {
    if (supervision.asked_ms)
        return decide_ending(supervision, now);
    if (supervision.stopping || !supervision.wanted)
        return {Action::ask, std::nullopt};
    std::optional<std::int64_t> end;
    if (supervision.outdated)
        end = settled_ms(supervision);
    if (supervision.complained_ms)
        end = std::min(end.value_or(*supervision.complained_ms + complaint_ms),
                       *supervision.complained_ms + complaint_ms);
    return end ? at(*end, now, Action::ask) : Decision{Action::wait, std::nullopt};
}

std::int64_t fault_pause(Supervision& supervision, std::int64_t run_ms) {
    if (run_ms >= long_run_ms)
        supervision.faults = 0;
    const auto place = static_cast<std::size_t>(supervision.faults);
    supervision.faults =
        std::min(supervision.faults + 1, static_cast<int>(fault_pauses_ms.size()) - 1);
    return std::min(fault_pauses_ms.at(place), supervision.longest_pause_ms);
}

// A run that a change of the settings cut short is none of its own.
bool was_short(const Supervision& supervision, std::int64_t now) {
    const bool changed =
        supervision.first_change_ms && supervision.last_change_ms >= supervision.started_ms;
    return now - supervision.started_ms < short_run_ms && !changed;
}

std::int64_t pause_after(Supervision& supervision, std::int64_t now, Ending ending) {
    const std::int64_t run_ms = now - supervision.started_ms;
    if (ending == Ending::asked)
        return 0;
    if (ending == Ending::fault)
        return fault_pause(supervision, run_ms);
    supervision.short_runs = was_short(supervision, now) ? supervision.short_runs + 1 : 0;
    return supervision.short_runs < most_short_runs ? quick_pause_ms
                                                    : fault_pause(supervision, run_ms);
}

} // namespace

Decision decide(const Supervision& supervision, std::int64_t now) {
    if (supervision.running)
        return decide_running(supervision, now);
    if (supervision.stopping)
        return {Action::leave, std::nullopt};
    if (!supervision.wanted)
        return {Action::wait, std::nullopt};
    return at(std::max(settled_ms(supervision), supervision.earliest_start_ms), now, Action::start);
}

void note_change(Supervision& supervision, std::int64_t now, bool being_written) {
    if (!supervision.first_change_ms || now >= settled_ms(supervision) || supervision.being_written)
        supervision.first_change_ms = now;
    supervision.last_change_ms = now;
    supervision.being_written = being_written;
}

bool was_left_unfinished(const Supervision& supervision, std::int64_t now) {
    return supervision.being_written && now >= settled_ms(supervision);
}

bool wait_for_rest(Supervision& supervision, std::int64_t now) {
    supervision.earliest_start_ms = now + quiet_ms;
    return supervision.first_change_ms && now - *supervision.first_change_ms < longest_unrest_ms;
}

void note_other_command(Supervision& supervision) {
    supervision.faults = 0;
    supervision.short_runs = 0;
    supervision.earliest_start_ms = 0;
}

void note_start(Supervision& supervision, std::int64_t now) {
    supervision.running = true;
    supervision.outdated = false;
    supervision.started_ms = now;
    supervision.complained_ms.reset();
    supervision.asked_ms.reset();
    supervision.hung = false;
    supervision.killed = false;
}

void note_request(Supervision& supervision, std::int64_t now) {
    supervision.asked_ms = now;
    supervision.hung = supervision.wanted && !supervision.stopping && !supervision.outdated;
}

std::int64_t note_end(Supervision& supervision, std::int64_t now, Ending ending) {
    supervision.running = false;
    const std::int64_t pause = pause_after(supervision, now, ending);
    supervision.earliest_start_ms = now + pause;
    return pause;
}

} // namespace stream
