#include "network/trial.h"

#include "network/files.h"
#include "network/surroundings.h"

#include <algorithm>
#include <set>

namespace network {

namespace {

template<class Network>
void add_changed(const std::optional<Network>& before, const std::optional<Network>& after,
                 const std::string& (*interface_of)(const Network&), std::set<std::string>& names) {
    if (before == after)
        return;
    for (const auto* each : {&before, &after}) {
        if (*each)
            names.insert(interface_of(**each));
    }
}

const std::string& interface_of_wifi(const Wifi& wifi) {
    return wifi.interface_name;
}

const std::string& interface_of_access_point(const AccessPoint& access_point) {
    return access_point.wifi.interface_name;
}

std::set<std::string> changed_interfaces(const Wishes& before, const Wishes& after) {
    std::set<std::string> names;
    add_changed(before.camera, after.camera, interface_of_wifi, names);
    add_changed(before.home, after.home, interface_of_wifi, names);
    add_changed(before.access_point, after.access_point, interface_of_access_point, names);
    return names;
}

bool is_cameras(const Wishes& wishes, const std::string& name) {
    return wishes.camera && wishes.camera->interface_name == name;
}

} // namespace

bool touches_way_in(const Wishes& accepted, const Wishes& wanted,
                    const std::vector<std::string>& answering) {
    const std::set<std::string> changed = changed_interfaces(accepted, wanted);
    const bool home_goes = accepted.home && accepted.home != wanted.home;
    const bool access_point_goes =
        accepted.access_point && accepted.access_point != wanted.access_point;
    return home_goes || access_point_goes ||
           std::ranges::any_of(answering, [&](const std::string& name) {
               return changed.contains(name) && !is_cameras(accepted, name);
           });
}

bool has_other_way(const Wishes& accepted, const Wishes& wanted,
                   const std::vector<std::string>& answering) {
    const std::set<std::string> changed = changed_interfaces(accepted, wanted);
    return std::ranges::any_of(answering, [&](const std::string& name) {
        return !changed.contains(name) && !is_cameras(wanted, name);
    });
}

bool somebody_came_by(const Wishes& wanted) {
    return (wanted.home && has_joined(home_uuid)) || (wanted.access_point && has_guests());
}

bool answer_all(const Wishes& accepted, const Wishes& wanted) {
    const bool needs_home = wanted.home && wanted.home != accepted.home;
    const bool needs_access_point =
        wanted.access_point && wanted.access_point != accepted.access_point;
    return (!needs_home || has_joined(home_uuid)) && (!needs_access_point || runs_access_point());
}

bool has_way_in(const Wishes& accepted, const Wishes& wanted) {
    return somebody_came_by(wanted) || has_other_way(accepted, wanted, interfaces_that_answer());
}

} // namespace network
