#include "network/making.h"

#include "config/whole_files.h"
#include "core/log.h"
#include "network/state.h"
#include "network/surroundings.h"
#include "network/waiting.h"

#include <algorithm>
#include <chrono>
#include <string_view>
#include <unistd.h>

namespace network {

namespace {

using fieldrelaybox::log_error;
using fieldrelaybox::log_line;
using fieldrelaybox::read_file;

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

// Radios are blocked where the country of Wi-Fi was never set. Who wants a network wants its radio.
bool is_to_be_unblocked(const Wishes& wishes) {
    return std::ranges::any_of(all_of(wishes), [](const Named& named) {
        return block_of(named.wifi->interface_name) == Block::soft;
    });
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

} // namespace

std::vector<Step> steps_to(const Wishes& wishes) {
    std::vector<Step> steps = plan_of(wishes, read_enforced);
    if (!steps.empty() && is_to_be_unblocked(wishes))
        steps.insert(steps.begin(), {Step::Kind::attempt, "nmcli radio wifi on", "", ""});
    return steps;
}

std::vector<Failure> put_in_force(const Wishes& wishes) {
    const std::vector<Step> steps = steps_to(wishes);
    if (steps.empty())
        return {};
    tell(wishes);
    if (is_to_be_unblocked(wishes))
        log_line("Wi-Fi is blocked (rfkill), as where its country was never set: unblocking it");
    write_state(unfinished_file(), "1\n");
    std::vector<Failure> failures = carry_out(steps);
    if (!has_failed(failures, ""))
        unlink(unfinished_file().c_str());
    for (const Failure& failure : failures)
        log_error("cannot make the %s: %s",
                  failure.network.empty() ? "networks" : failure.network.data(),
                  failure.words.c_str());
    tell_of_blocks(wishes);
    const bool is_access_point_made = std::ranges::any_of(steps, [](const Step& step) {
        return step.network == access_point_network && step.kind == Step::Kind::run;
    });
    if (wishes.access_point && is_access_point_made && !has_failed(failures, access_point_network))
        look_after(*wishes.access_point);
    return failures;
}

} // namespace network
