#include "network/enforcement.h"

#include "config/whole_files.h"
#include "core/exit_status.h"
#include "core/log.h"
#include "network/files.h"
#include "network/judgement.h"
#include "network/making.h"
#include "network/settings.h"
#include "network/state.h"
#include "network/surroundings.h"
#include "network/trial.h"
#include "network/waiting.h"

#include <chrono>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/file.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace network {

namespace {

namespace fs = std::filesystem;
using fieldrelaybox::log_error;
using fieldrelaybox::log_warning;
using fieldrelaybox::read_file;
using Clock = std::chrono::steady_clock;

// What is left without the networks that failed. One that had proved itself, and was to give way
// to one of them, is still fallen back on.
Wanted without(const std::vector<Failure>& failures, const Wishes& accepted, Wanted wanted) {
    for (const Failure& failure : failures)
        leave_out(failure.network, wanted.settings);
    wanted.wishes = wishes_of(wanted.settings);
    wanted.is_acceptable = !(accepted.camera && has_failed(failures, camera_network)) &&
                           !(accepted.home && has_failed(failures, home_network)) &&
                           !(accepted.access_point && has_failed(failures, access_point_network));
    return wanted;
}

// What joins by itself while the system starts is a way in as well: it gets the time for that, from
// when this program comes to it.
void await_system_start() {
    constexpr std::time_t latest_start = 300;
    constexpr std::chrono::seconds patience{45};
    constexpr std::chrono::milliseconds pause{500};
    static const Clock::time_point end = Clock::now() + patience;
    timespec running{};
    while (clock_gettime(CLOCK_BOOTTIME, &running) == 0 && running.tv_sec < latest_start &&
           Clock::now() < end && interfaces_that_answer().empty() && !is_ended_within(pause)) {
    }
}

// Of networks that are not those of before.
int make_new(const Options& options, const Wishes& accepted, const Wanted& wanted) {
    bool in_danger = is_there(trial_file()); // during a trial it is not to be seen what was before
    const bool is_in_force = steps_to(wanted.wishes).empty();
    if (!in_danger && is_refused(wanted)) {
        if (is_in_force)
            return 0; // the camera was there and nothing else
        if (const auto status = go_back_unless_cut_off(options, accepted, wanted))
            return *status;
        in_danger = true;
    }
    if (!in_danger) {
        await_system_start();
        in_danger = touches_way_in(accepted, wanted.wishes, interfaces_that_answer());
    }
    if (in_danger)
        write_state(trial_file(), "1\n");
    const std::vector<Failure> failures = put_in_force(wanted.wishes);
    const Wanted made = without(failures, accepted, wanted);
    const bool may_lead_in = made.wishes.home || made.wishes.access_point;
    if (in_danger && !failures.empty() && !may_lead_in &&
        !has_other_way(accepted, wanted.wishes, interfaces_that_answer()))
        return go_back_to(accepted, fieldrelaybox::exit_unable);
    const int status =
        prove(options, accepted, made, {.in_danger = in_danger, .is_fresh = !is_in_force});
    return status == 0 && !failures.empty() ? fieldrelaybox::exit_unable : status;
}

// text: of the settings that it read, for the caller.
int make_once(const Options& options, std::string& text) {
    const Wishes accepted = read_accepted();
    const std::optional<Wanted> wanted = read_wanted();
    if (!wanted) {
        log_warning("no settings in %s: the networks of before", settings_file);
        return go_back_to(accepted, 0);
    }
    text = wanted->text;
    const bool is_nameless =
        wanted->settings.ap_iface[0] != '\0' && wanted->settings.ap_ssid[0] == '\0';
    if (is_nameless && read_file(accepted_file()) != text)
        log_warning("ap_iface is set and ap_ssid is empty: the access point is off");
    if (!wanted->fault.empty())
        return refuse(accepted, wanted->fault);
    if (wanted->wishes != accepted && !options.without_trial)
        return make_new(options, accepted, *wanted);
    const bool failed = !put_in_force(wanted->wishes).empty();
    accept(*wanted); // what failed is wanted all the same
    return failed ? fieldrelaybox::exit_unable : 0;
}

// Held until the process ends. -1 when it cannot be had.
int take_turn(const Options& options) {
    std::error_code error;
    fs::create_directory(own_folder, error);
    if (!error)
        fs::permissions(own_folder, fs::perms::owner_all, error);
    if (options.without_trial)
        write_state(accept_file(), "1\n");
    const std::string path = own_path("lock");
    const int lock = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (lock < 0 || flock(lock, LOCK_EX) != 0) {
        log_error("%s", fieldrelaybox::failure_of("lock", path).c_str());
        return -1;
    }
    unlink(accept_file().c_str());
    return lock;
}

// True at once when a marker or other settings come, or later; false when the program was asked to
// end, or to make room.
bool await_next_try(const std::string& text) {
    constexpr std::chrono::seconds patience{60};
    constexpr std::chrono::milliseconds pause{500};
    const Clock::time_point end = Clock::now() + patience;
    while (!marker_waits() && !differs_from(text) && Clock::now() < end) {
        if (is_there(accept_file()) || is_ended_within(pause))
            return false;
    }
    return true;
}

// Whether there is more to do after a run for the settings of text that ended with status.
bool goes_on(const Options& options, int status, const std::string& text) {
    if (is_ended_within({}))
        return false;
    const bool failed = status == fieldrelaybox::exit_unable;
    return is_changed_since(text) || (failed && options.keep_trying && await_next_try(text));
}

} // namespace

int make_networks(const Options& options) {
    int status = fieldrelaybox::exit_unable;
    std::string text;
    if (take_turn(options) < 0) {
        unlink(marker); // or it would start the service again and again
        return status;
    }
    is_ended_within({}); // from now on signals wait
    do {
        // Before the settings are read: a change after that leaves a new one.
        unlink(marker);
        status = make_once(options, text);
    } while (goes_on(options, status, text));
    if (options.without_trial && status == fieldrelaybox::exit_unable)
        write_state(marker, ""); // the service, whose tries this ended, goes on with them
    return is_ended_within({}) ? 0 : status; // whoever ended it knows
}

int print_plan() {
    if (geteuid() != 0) {
        std::fprintf(stderr, "fieldrelaybox-network: the settings are for root only\n");
        return fieldrelaybox::exit_unable;
    }
    const std::optional<Wanted> wanted = read_wanted();
    const Wishes accepted = read_accepted();
    std::string fault = wanted ? wanted->fault : std::string("no settings in ") + settings_file;
    const bool is_new = wanted && wanted->wishes != accepted;
    if (fault.empty() && is_new && is_refused(*wanted) && !is_there(trial_file()) &&
        !steps_to(wanted->wishes).empty())
        fault = "the networks of the settings failed their trial; tried again when nothing answers";
    if (!fault.empty())
        fieldrelaybox::print_line("refused: %s", fault.c_str());
    for (const Step& step : steps_to(fault.empty() ? wanted->wishes : accepted))
        fieldrelaybox::print_line("%s", describe(step).c_str());
    if (!fault.empty())
        return exit_refused;
    const std::vector<std::string> answering = interfaces_that_answer();
    if (is_new && touches_way_in(accepted, wanted->wishes, answering) &&
        !has_other_way(accepted, wanted->wishes, answering))
        fieldrelaybox::print_line("undone unless somebody comes by the new networks");
    return 0;
}

} // namespace network
