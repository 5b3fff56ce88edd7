#include "config/hdmi_modes.h"

#include <algorithm>
#include <array>

namespace fieldrelaybox {

namespace {

struct HdmiMode {
    std::string_view name;
    HdmiGroup group;
    int number;
};

constexpr std::array<HdmiMode, 18> modes{{
    {"default", HdmiGroup::cea, 0},
    {"640x480@60p CEA", HdmiGroup::cea, 1},
    {"1280x720@50p CEA", HdmiGroup::cea, 19},
    {"1280x720@60p CEA", HdmiGroup::cea, 4},
    {"1920x1080@50i CEA", HdmiGroup::cea, 20},
    {"1920x1080@50p CEA", HdmiGroup::cea, 31},
    {"1920x1080@60i CEA", HdmiGroup::cea, 5},
    {"1920x1080@60p CEA", HdmiGroup::cea, 16},
    {"640x480@60p DMT", HdmiGroup::dmt, 4},
    {"640x480@75p DMT", HdmiGroup::dmt, 6},
    {"800x600@60p DMT", HdmiGroup::dmt, 9},
    {"800x600@75p DMT", HdmiGroup::dmt, 11},
    {"1024x768@60p DMT", HdmiGroup::dmt, 16},
    {"1024x768@75p DMT", HdmiGroup::dmt, 18},
    {"1152x864@75p DMT", HdmiGroup::dmt, 21},
    {"1280x1024@60p DMT", HdmiGroup::dmt, 35},
    {"1280x1024@75p DMT", HdmiGroup::dmt, 36},
    {"1920x1080@60p DMT", HdmiGroup::dmt, 82},
}};

} // namespace

int look_up_hdmi_mode(std::string_view name, HdmiGroup& group, int& mode) {
    const auto* found = std::find_if(modes.begin(), modes.end(),
                                     [name](const HdmiMode& entry) { return entry.name == name; });
    if (found == modes.end())
        return -1;
    group = found->group;
    mode = found->number;
    return 0;
}

} // namespace fieldrelaybox
