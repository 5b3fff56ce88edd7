#include "network/judgement.h"

#include "config/whole_files.h"
#include "core/exit_status.h"
#include "core/log.h"
#include "network/files.h"
#include "network/making.h"
#include "network/state.h"
#include "network/surroundings.h"
#include "network/trial.h"
#include "network/waiting.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <unistd.h>

namespace network {

namespace {

using fieldrelaybox::log_error;
using fieldrelaybox::log_line;
using fieldrelaybox::log_warning;
using fieldrelaybox::read_file;
using Clock = std::chrono::steady_clock;

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

// With keep_trying it is looked after a while whether those of before answer.
int undo(const Options& options, const Wishes& accepted, const Wanted& wanted) {
    log_error("nobody came by the new networks within %d s, which take the only way in: undone "
              "(fieldrelaybox-network --accept would keep them)",
              options.trial_seconds);
    write_state(refused_file(), wanted.text);
    return go_back_to(accepted, options.keep_trying ? fieldrelaybox::exit_unable : exit_refused);
}

// Then what leads in is there as well, and a camera that comes late is joined.
bool differ_in_camera_alone(const Wishes& accepted, const Wishes& wanted) {
    return accepted.home == wanted.home && accepted.access_point == wanted.access_point;
}

// What to do with new networks that did not answer in time.
int judge_silent(const Options& options, const Wishes& accepted, const Wanted& wanted,
                 bool is_way_in) {
    if (is_way_in)
        log_warning("the new networks have not answered; they stay as there is another way in, and "
                    "those of before are what the box falls back on");
    else if (is_refused(wanted) && wanted.wishes.camera &&
             (differ_in_camera_alone(accepted, wanted.wishes) || has_joined(camera_uuid)))
        log_line("nothing answers by the networks of before either: these stay until the next "
                 "start");
    else
        return undo(options, accepted, wanted);
    unlink(trial_file().c_str());
    return 0;
}

} // namespace

int go_back_to(const Wishes& accepted, int status) {
    const bool failed = !put_in_force(accepted).empty();
    unlink(trial_file().c_str());
    return failed ? fieldrelaybox::exit_unable : status;
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

std::optional<int> go_back_unless_cut_off(const Options& options, const Wishes& accepted,
                                          const Wanted& wanted) {
    if (const int status = go_back_to(accepted, 0); status != 0)
        return status;
    switch (await_answer(wanted.text, options.trial_seconds,
                         [&] { return has_way_in(accepted, accepted); })) {
    case Verdict::interrupted:
        return 0;
    case Verdict::answered:
        if (is_there(accept_file()))
            return 0; // whoever accepts them waits for this one's end
        return refuse(accepted, "nobody came by the networks of the settings when they were tried");
    case Verdict::silent:
        break;
    }
    log_line("nothing answers by the networks of before: those of the settings are tried again");
    return std::nullopt;
}

int prove(const Options& options, const Wishes& accepted, const Wanted& wanted, Novelty novelty) {
    const auto is_way_in = [&] {
        return !novelty.in_danger ||
               has_other_way(accepted, wanted.wishes, interfaces_that_answer());
    };
    const auto has_answered = [&] {
        return somebody_came_by(wanted.wishes) ||
               (is_way_in() && answer_all(accepted, wanted.wishes));
    };
    const auto stay = [&] {
        log_line("the new networks answer: they stay");
        return accept(wanted);
    };
    if (has_answered())
        return novelty.is_fresh ? stay() : accept(wanted);
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
    return stay();
}

} // namespace network
