// "updateparam": one table of the parameters that an app can change, with what each one changes,
// mirrors and runs.
#pragma once

#include "apps/app_request.h"
#include "config/record_fields.h"

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

namespace fieldrelaybox {

// How the text of a value becomes the content of a field.
enum class Conversion : std::uint8_t {
    none,             // end of a list
    flag,             // 1 for "1" and "true", else 0
    nonzero,          // 1 for a number other than 0, else 0
    number,           // decimal; low 8 bits where the field is a byte
    text,             // cut to the field
    interface_code,   // name of the interface; an unknown code changes nothing
    band,             // 2 for "2.4", 5 for "5"; anything else changes nothing
    resolution_width, // of "320x240", "640x480" or "1280x720"; anything else is the last of them
    resolution_height,
};

struct FieldUpdate {
    int value = 0; // 1 is "value", 2 is "value2" and so on
    Conversion conversion = Conversion::none;
    RecordField field{};
};

struct UpdateParameter {
    std::string_view name;
    std::array<FieldUpdate, 12> fields{};

    // Byte of the status block that follows the first field.
    std::uint8_t StatusBlock::*mirror = nullptr;

    // Log lines before anything changes.
    void (*announce)(const AppRequest& request) = nullptr;

    // Done right before the fields change.
    void (*prepare)() = nullptr;

    // What else depends on the fields: done right after they changed, before the save.
    void (*follow_up)() = nullptr;

    // Run after the save, in this order. "%d" stands for the number in the first field.
    std::array<std::string_view, 3> commands{};

    // The RC input process is restarted by the commands: its state byte is cleared after them.
    bool restarts_rc_input = false;

    // Takes the place of all of the above; nothing is saved.
    void (*instead)(const AppRequest& request) = nullptr;
};

std::span<const UpdateParameter> update_parameters();

// Applies the request's parameter: change, mirror, save, then the commands. Commands of several
// requests run one after the other in the order of their saves. Unknown names change nothing.
void update_parameter(const AppRequest& request);

} // namespace fieldrelaybox
