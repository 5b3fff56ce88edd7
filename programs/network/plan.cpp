#include "network/plan.h"

#include "network/files.h"
#include "network/state.h"

#include <algorithm>
#include <utility>

namespace network {

namespace {

using There = std::function<std::string(const std::string& path)>;
using Kind = Step::Kind;

// How one network comes and goes.
struct Change {
    std::vector<Step> goes;
    std::vector<Step> comes;
    std::vector<Step> files{};
};

std::string quiet(const std::string& command) {
    return command + " >/dev/null";
}

Step stop(const char* unit) {
    return {Kind::attempt, std::string("systemctl stop ") + unit, "", ""};
}

// It may run, from a time that went wrong.
Step start(const char* unit) {
    return {Kind::run, std::string("systemctl restart ") + unit, "", ""};
}

bool is_changed(const File& file, const There& there) {
    return there(file.path) != file.text;
}

// Nothing when all files are as they should be.
Change change_of(std::string_view network, const std::vector<File>& files, const There& there,
                 Change how) {
    Change change;
    if (std::ranges::none_of(files, [&](const File& file) { return is_changed(file, there); }))
        return change;
    const bool is_there =
        std::ranges::any_of(files, [&](const File& file) { return !there(file.path).empty(); });
    if (is_there)
        change.goes = std::move(how.goes);
    for (const File& file : files) {
        if (is_changed(file, there) && !there(file.path).empty())
            change.goes.push_back({Kind::remove, file.path, "", ""});
        if (is_changed(file, there) && !file.text.empty())
            change.files.push_back({Kind::write, file.path, file.text, ""});
    }
    if (!files.front().text.empty())
        change.comes = std::move(how.comes);
    for (std::vector<Step>* steps : {&change.goes, &change.files, &change.comes}) {
        for (Step& step : *steps)
            step.network = network;
    }
    return change;
}

Step forget(const char* uuid) {
    return {Kind::attempt, quiet(std::string("nmcli connection delete uuid ") + uuid), "", ""};
}

// A file that it cannot read is no failure to it.
Step load(const std::string& path, const char* uuid) {
    return {Kind::ask,
            quiet("nmcli connection load " + path) + " && " +
                quiet(std::string("nmcli connection show uuid ") + uuid),
            "", ""};
}

// NetworkManager joins by itself where nothing else has the interface.
Step take_over(const Wifi& wifi, const char* uuid) {
    return {Kind::attempt,
            "nmcli -g GENERAL.CON-UUID device show " + wifi.interface_name +
                " 2>/dev/null | grep -qvx -e '' -e " + uuid +
                " && nmcli --wait 0 connection up uuid " + uuid + " >/dev/null",
            "", ""};
}

// A camera takes its interface from others when it is seen, which its search does.
Change camera_change(const Wishes& wishes, const There& there) {
    constexpr const char* search = "fieldrelaybox-search@camera.service";
    const std::vector<File> files = camera_files(wishes.camera);
    return change_of(camera_network, files, there,
                     {{stop(search), forget(camera_uuid)},
                      {load(files.front().path, camera_uuid), start(search)}});
}

Change home_change(const Wishes& wishes, const There& there) {
    constexpr const char* search = "fieldrelaybox-search@network.service";
    const std::vector<File> files = home_files(wishes.home);
    Change how{{stop(search), forget(home_uuid)}, {load(files.front().path, home_uuid)}};
    if (wishes.home)
        how.comes.push_back(take_over(*wishes.home, home_uuid));
    how.comes.push_back(start(search));
    return change_of(home_network, files, there, std::move(how));
}

// Whoever has an address afterwards came by what is wanted now.
Change access_point_change(const Wishes& wishes, const There& there) {
    constexpr const char* unit = "fieldrelaybox-access-point.service";
    return change_of(access_point_network, access_point_files(wishes.access_point), there,
                     {{stop(unit), {Kind::remove, leases_file, "", ""}}, {start(unit)}});
}

// One that does not run reads it when it starts.
Step reload() {
    return {Kind::ask,
            "! systemctl is-active --quiet NetworkManager.service || " +
                quiet("nmcli general reload conf"),
            "", ""};
}

bool touches_unmanaged(const std::vector<Step>& steps) {
    return std::ranges::any_of(steps, [](const Step& step) { return step.text == unmanaged_file; });
}

void append(std::vector<Step>& steps, std::vector<Step> more) {
    std::ranges::move(more, std::back_inserter(steps));
}

} // namespace

std::vector<Step> plan_of(const Wishes& wishes, const There& there) {
    std::vector<Change> changes{access_point_change(wishes, there), camera_change(wishes, there),
                                home_change(wishes, there)};
    std::vector<Step> steps;
    for (Change& change : changes)
        append(steps, std::move(change.goes));
    for (Change& change : changes)
        append(steps, std::move(change.files));
    // Before NetworkManager is to use what was not its own.
    if (touches_unmanaged(steps) || !there(unfinished_file()).empty())
        steps.push_back(reload());
    for (Change& change : changes)
        append(steps, std::move(change.comes));
    return steps;
}

std::string describe(const Step& step) {
    switch (step.kind) {
    case Kind::write:
        return "write " + step.text;
    case Kind::remove:
        return "remove " + step.text;
    case Kind::run:
    case Kind::ask:
    case Kind::attempt:
        break;
    }
    return step.text;
}

} // namespace network
