// What the settings and the files make of rcin, read once: it is started anew when they change.
#pragma once

#include "fieldrelaybox/shared_memory.h"
#include "rcin/attachment.h"
#include "rcin/training.h"

#include <array>
#include <cstdint>
#include <string>

namespace rcin {

struct Equipment {
    std::array<Attachment, receiver_count> attachments;
    Training training;
};

// Logs what is off though it should not be.
void equip(Equipment& equipment, const ConfigRecord& settings, const std::string& devices_path,
           std::int64_t now_us);

} // namespace rcin
