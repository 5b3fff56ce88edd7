#include "network/enforcement.h"

#include "config/config_start.h"
#include "config/whole_files.h"
#include "core/exit_status.h"
#include "core/log.h"
#include "core/signal_sets.h"
#include "network/files.h"
#include "network/plan.h"
#include "network/regulations.h"
#include "network/state.h"
#include "network/steps.h"
#include "network/surroundings.h"
#include "network/trial.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <sys/file.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace network {

namespace {

namespace fs = std::filesystem;
using fieldrelaybox::log_error;
using fieldrelaybox::log_line;
using fieldrelaybox::log_warning;
using fieldrelaybox::read_file;
using Clock = std::chrono::steady_clock;

constexpr const char* settings_file = "/run/fieldrelaybox.conf";
constexpr const char* marker = "/run/wlan.update"; // of the daemon: an app changed something

bool marker_waits() {
    return is_there(marker);
}

// Whether the settings want something else than when they read so. Saves come without a marker too:
// one that fails leaves the marker, and the next good one the settings.
bool differs_from(const std::string& text) {
    const auto settings = fieldrelaybox::read_whole_settings(settings_file);
    return settings && text_of_wishes(*settings) != text;
}

// The same, and the marker has had its effect.
bool is_changed_since(const std::string& text) {
    unlink(marker); // before the settings are read: a change after that leaves a new one
    return differs_from(text);
}

// What the settings want, as they are now.
struct Wanted {
    ConfigRecord settings;
    std::string text; // of them
    Wishes wishes;
    std::string fault;         // why they cannot be; empty when they can
    bool is_acceptable = true; // what answers is to be fallen back on
};

bool is_refused(const Wanted& wanted) {
    return read_file(refused_file()) == wanted.text;
}

// Nothing while there are no whole settings.
std::optional<Wanted> read_wanted() {
    const auto settings = fieldrelaybox::read_whole_settings(settings_file);
    if (!settings)
        return std::nullopt;
    Wanted wanted{*settings, text_of_wishes(*settings), wishes_of(*settings), ""};
    const std::string regulations = read_file(regulations_file);
    if (regulations.empty() && wanted.wishes.access_point)
        log_warning("cannot read %s: what the country allows is not checked", regulations_file);
    wanted.fault = fault_of(wanted.wishes, {radio_of, regulations});
    return wanted;
}

Wishes read_accepted() {
    const auto settings = fieldrelaybox::read_whole_settings(accepted_file());
    return settings ? wishes_of(*settings) : Wishes{};
}

void tell_of(std::string_view network, const Wifi* wifi) {
    if (wifi == nullptr)
        log_line("%s: off", network.data());
    else
        log_line("%s: \"%s\" on %s%s", network.data(), wifi->name.c_str(),
                 wifi->interface_name.c_str(),
                 radio_of(wifi->interface_name).empty() ? ", which is not there yet" : "");
}

void tell(const Wishes& wishes) {
    tell_of(camera_network, wishes.camera ? &*wishes.camera : nullptr);
    tell_of(home_network, wishes.home ? &*wishes.home : nullptr);
    tell_of(access_point_network, wishes.access_point ? &wishes.access_point->wifi : nullptr);
}

// Whether the program was asked to end meanwhile. It goes through with what it began, and ends
// where it only waits.
bool is_ended_within(std::chrono::milliseconds time) {
    static const sigset_t signals = fieldrelaybox::hold_back_signals({SIGTERM, SIGINT});
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    const std::chrono::nanoseconds rest = time - seconds;
    const timespec limit{.tv_sec = static_cast<std::time_t>(seconds.count()),
                         .tv_nsec = static_cast<long>(rest.count())};
    static bool ended = false;
    ended = ended || sigtimedwait(&signals, nullptr, &limit) >= 0;
    return ended;
}

// Its service starts whatever hostapd says afterwards, and again after 5 s. One whose interface is
// not there is waited for.
void look_after(const AccessPoint& access_point) {
    if (!has_interface(access_point.wifi.interface_name))
        return;
    for (const std::chrono::seconds start : {std::chrono::seconds{3}, std::chrono::seconds{5}}) {
        if (is_ended_within(start) || runs_access_point())
            return;
    }
    log_error("the access point does not run, as hostapd ends at once: see journalctl -u "
              "fieldrelaybox-access-point; it is started again and again");
}

// What a file holds; of one that may not be in force something else.
std::string read_enforced(const std::string& path) {
    std::string text = read_file(path);
    return text.empty() || !is_there(unfinished_file()) ? text : text + '\n';
}

bool has(const std::vector<Failure>& failures, std::string_view network) {
    return std::ranges::find(failures, network, &Failure::network) != failures.end();
}

// Radios are blocked where the country of Wi-Fi was never set. Who wants a network wants its radio.
bool is_to_be_unblocked(const Wishes& wishes) {
    return std::ranges::any_of(all_of(wishes), [](const Named& named) {
        return block_of(named.wifi->interface_name) == Block::soft;
    });
}

std::vector<Step> steps_to(const Wishes& wishes) {
    std::vector<Step> steps = plan_of(wishes, read_enforced);
    if (!steps.empty() && is_to_be_unblocked(wishes))
        steps.insert(steps.begin(), {Step::Kind::attempt, "nmcli radio wifi on", "", ""});
    return steps;
}

void tell_of_blocks(const Wishes& wishes) {
    for (const Named& named : all_of(wishes)) {
        if (const Block block = block_of(named.wifi->interface_name); block != Block::none)
            log_error("cannot use %s, as its radio is blocked: %s",
                      named.wifi->interface_name.c_str(),
                      block == Block::soft ? "sudo rfkill unblock wlan"
                                           : "the device has a switch for it");
    }
}

// Returns what failed, which has been told; nothing when the box has these networks now.
std::vector<Failure> put_in_force(const Wishes& wishes) {
    const std::vector<Step> steps = steps_to(wishes);
    if (steps.empty())
        return {};
    tell(wishes);
    if (is_to_be_unblocked(wishes))
        log_line("Wi-Fi is blocked (rfkill), as where its country was never set: unblocking it");
    write_state(unfinished_file(), "1\n");
    std::vector<Failure> failures = carry_out(steps);
    if (!has(failures, ""))
        unlink(unfinished_file().c_str());
    for (const Failure& failure : failures)
        log_error("cannot make the %s: %s",
                  failure.network.empty() ? "networks" : failure.network.data(),
                  failure.words.c_str());
    tell_of_blocks(wishes);
    const bool is_access_point_made = std::ranges::any_of(steps, [](const Step& step) {
        return step.network == access_point_network && step.kind == Step::Kind::run;
    });
    if (wishes.access_point && is_access_point_made && !has(failures, access_point_network))
        look_after(*wishes.access_point);
    return failures;
}

// Returns status, or exit_unable when it fails: then it is to be tried again.
int go_back_to(const Wishes& accepted, int status) {
    const bool failed = !put_in_force(accepted).empty();
    unlink(trial_file().c_str());
    return failed ? fieldrelaybox::exit_unable : status;
}

enum class Verdict : std::uint8_t { answered, silent, interrupted };

Verdict await_answer(const std::string& text, int seconds,
                     const std::function<bool()>& has_answered) {
    constexpr std::chrono::milliseconds pause{500};
    const Clock::time_point end = Clock::now() + std::chrono::seconds(seconds);
    while (true) {
        if (is_changed_since(text) || is_ended_within(pause))
            return Verdict::interrupted;
        if (is_there(accept_file()) || has_answered())
            return Verdict::answered;
        if (Clock::now() >= end)
            return Verdict::silent;
    }
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

int refuse(const Wishes& accepted, const std::string& fault) {
    log_error("%s; the networks stay as they are", fault.c_str());
    return go_back_to(accepted, exit_refused);
}

int accept(const Wanted& wanted) {
    const std::string text = text_of_wishes(wanted.settings);
    if (wanted.is_acceptable && read_file(accepted_file()) != text)
        write_state(accepted_file(), text);
    unlink(refused_file().c_str());
    unlink(trial_file().c_str());
    return 0;
}

// What is left without the networks that failed. One that had proved itself, and was to give way
// to one of them, is still fallen back on.
Wanted without(const std::vector<Failure>& failures, const Wishes& accepted, Wanted wanted) {
    for (const Failure& failure : failures)
        leave_out(failure.network, wanted.settings);
    wanted.wishes = wishes_of(wanted.settings);
    wanted.is_acceptable = !(accepted.camera && has(failures, camera_network)) &&
                           !(accepted.home && has(failures, home_network)) &&
                           !(accepted.access_point && has(failures, access_point_network));
    return wanted;
}

// With keep_trying it is looked after a while whether those of before answer.
int undo(const Options& options, const Wishes& accepted, const Wanted& wanted) {
    log_error("nobody came by the new networks within %d s, which take the only way in: undone "
              "(fieldrelaybox-network --accept would keep them)",
              options.trial_seconds);
    write_state(refused_file(), wanted.text);
    return go_back_to(accepted, options.keep_trying ? fieldrelaybox::exit_unable : exit_refused);
}

// When nothing answers by the networks of before either, there is nothing to lose: the router may
// be about to start, or the box is with its camera in the field.
std::optional<int> go_back_unless_cut_off(const Options& options, const Wishes& accepted,
                                          const Wanted& wanted) {
    if (const int status = go_back_to(accepted, 0); status != 0)
        return status;
    switch (await_answer(wanted.text, options.trial_seconds,
                         [&] { return has_way_in(accepted, accepted); })) {
    case Verdict::interrupted:
        return 0;
    case Verdict::answered:
        return refuse(accepted, "nobody came by the networks of the settings when they were tried");
    case Verdict::silent:
        break;
    }
    log_line("nothing answers by the networks of before: those of the settings are tried again");
    return std::nullopt;
}

// What to do with new networks that did not answer in time.
int judge_silent(const Options& options, const Wishes& accepted, const Wanted& wanted,
                 bool is_way_in) {
    if (is_way_in)
        log_warning("the new networks have not answered; they stay as there is another way in, and "
                    "those of before are what the box falls back on");
    else if (is_refused(wanted) && wanted.wishes.camera && has_joined(camera_uuid))
        log_line("the camera is joined and nothing else answers: the networks stay until the next "
                 "start");
    else
        return undo(options, accepted, wanted);
    unlink(trial_file().c_str());
    return 0;
}

// How new networks came about.
struct Novelty {
    bool in_danger; // they may have taken the only way in
    bool is_fresh;  // they were made just now
};

// Accepts networks that answer.
int prove(const Options& options, const Wishes& accepted, const Wanted& wanted, Novelty novelty) {
    const auto is_way_in = [&] {
        return !novelty.in_danger ||
               has_other_way(accepted, wanted.wishes, interfaces_that_answer());
    };
    const auto has_answered = [&] {
        return somebody_came_by(wanted.wishes) ||
               (is_way_in() && answer_all(accepted, wanted.wishes));
    };
    if (has_answered())
        return accept(wanted);
    if (!is_way_in())
        log_line("the new networks take the only way in: undone in %d s unless somebody comes by "
                 "them",
                 options.trial_seconds);
    else if (!novelty.is_fresh)
        return judge_silent(options, accepted, wanted, true);
    switch (await_answer(wanted.text, options.trial_seconds, has_answered)) {
    case Verdict::interrupted:
        return 0;
    case Verdict::silent:
        return judge_silent(options, accepted, wanted, is_way_in());
    case Verdict::answered:
        break;
    }
    log_line("the new networks answer: they stay");
    return accept(wanted);
}

// Of networks that are not those of before.
int make_new(const Options& options, const Wishes& accepted, const Wanted& wanted) {
    bool in_danger = is_there(trial_file()); // during a trial it is not to be seen what was before
    const bool is_in_force = plan_of(wanted.wishes, read_enforced).empty();
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
    const std::string path = std::string(own_folder) + "/lock";
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
        !plan_of(wanted->wishes, read_enforced).empty())
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
