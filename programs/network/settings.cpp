#include "network/settings.h"

#include "config/config_start.h"
#include "config/whole_files.h"
#include "core/log.h"
#include "network/regulations.h"
#include "network/state.h"
#include "network/surroundings.h"

#include <unistd.h>

namespace network {

using fieldrelaybox::read_file;

bool marker_waits() {
    return is_there(marker);
}

bool differs_from(const std::string& text) {
    const auto settings = fieldrelaybox::read_whole_settings(settings_file);
    return settings && text_of_wishes(*settings) != text;
}

bool is_changed_since(const std::string& text) {
    unlink(marker); // before the settings are read: a change after that leaves a new one
    return differs_from(text);
}

bool is_refused(const Wanted& wanted) {
    return read_file(refused_file()) == wanted.text;
}

std::optional<Wanted> read_wanted() {
    const auto settings = fieldrelaybox::read_whole_settings(settings_file);
    if (!settings)
        return std::nullopt;
    Wanted wanted{*settings, text_of_wishes(*settings), wishes_of(*settings), ""};
    const std::string regulations = read_file(regulations_file);
    if (regulations.empty() && wanted.wishes.access_point)
        fieldrelaybox::log_warning("cannot read %s: what the country allows is not checked",
                                   regulations_file);
    wanted.fault = fault_of(wanted.wishes, {radio_of, regulations});
    return wanted;
}

Wishes read_accepted() {
    const auto settings = fieldrelaybox::read_whole_settings(accepted_file());
    return settings ? wishes_of(*settings) : Wishes{};
}

} // namespace network
