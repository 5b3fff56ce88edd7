#include "rcin/start.h"

#include "core/log.h"
#include "core/text.h"
#include "rcin/devices.h"
#include "rcin/modes.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

namespace rcin {

namespace {

constexpr std::array receiver_names{"RC1", "RC2"};

// The word of a setting; "off" for an unknown one.
std::string mode_of(const char* receiver, std::string_view word) {
    if (is_mode(word))
        return std::string(word);
    fieldrelaybox::log_warning("%s is off: \"%.*s\" is no mode", receiver,
                               static_cast<int>(word.size()), word.data());
    return "off";
}

} // namespace

void equip(Equipment& equipment, const ConfigRecord& settings, const std::string& devices_path,
           std::int64_t now_us) {
    if (settings.rc_input_enabled == 0)
        return fieldrelaybox::log_line("RC input is switched off (rc_input_enabled)");
    const std::array words{
        mode_of(receiver_names[0], fieldrelaybox::text_of(settings.rc_input_mode)),
        mode_of(receiver_names[1], fieldrelaybox::text_of(settings.rc2_input_mode))};
    std::array wirings =
        wire_receivers({.rc1 = words[0], .rc2 = words[1]}, read_devices(devices_path));
    for (std::size_t i = 0; i < receiver_count; ++i) {
        const std::string name = receiver_names[i];
        if (!wirings[i].fault.empty())
            fieldrelaybox::log_warning("%s is off: %s", name.c_str(), wirings[i].fault.c_str());
        std::string full_name = name + " (" + words[i] + ", " + wirings[i].device + ")";
        attach(equipment.attachments[i], std::move(full_name), std::move(wirings[i]), now_us);
    }
    if (std::ranges::any_of(equipment.attachments,
                            [](const Attachment& each) { return each.receiver.is_on; }))
        begin_training(equipment.training, words[0], words[1], now_us);
}

} // namespace rcin
