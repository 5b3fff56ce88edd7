#include "rcin/modes.h"

#include "core/word_table.h"
#include "rcin/pad_input.h"
#include "rcin/pulse_inputs.h"
#include "rcin/serial_input.h"

#include <utility>

namespace rcin {

namespace {

// The keys for receivers of one kind: the first of them has the first key, whether RC1 or RC2.
struct WireKeys {
    std::array<const char*, receiver_count> names; // null: there is no such key
    std::array<std::string Devices::*, receiver_count> values;
};

constexpr WireKeys uart_keys{{"uart", "uart2"}, {&Devices::uart, &Devices::uart2}};
constexpr WireKeys ppm_keys{{"ppm", "ppm2"}, {&Devices::ppm, &Devices::ppm2}};
constexpr WireKeys pwm_keys{{"pwm", nullptr}, {&Devices::pwm, nullptr}};
constexpr WireKeys pad_keys{{"pad", nullptr}, {&Devices::pad, nullptr}};

struct Mode {
    std::string_view word;
    Opened (*open)(const std::string& device);
    const WireKeys* keys;
};

constexpr std::array mode_table{
    Mode{"pwm", open_pwm, &pwm_keys},    Mode{"ppm", open_ppm, &ppm_keys},
    Mode{"sbus", open_sbus, &uart_keys}, Mode{"crsf", open_crsf, &uart_keys},
    Mode{"ibus", open_ibus, &uart_keys}, Mode{"pad", open_pad, &pad_keys},
    Mode{"off", nullptr, nullptr},
};
static_assert(fieldrelaybox::has_unique_words(mode_table));

Wiring wiring_off(std::string fault) {
    return {.open = nullptr, .device = {}, .fault = std::move(fault)};
}

// place: 0 for the first receiver of that kind, 1 for the second.
Wiring wire(const Mode& mode, std::size_t place, const Devices& devices) {
    const char* const key = mode.keys->names[place];
    const std::string word(mode.word);
    if (key == nullptr)
        return wiring_off("only one receiver can be \"" + word + "\"");
    const std::string& device = devices.*mode.keys->values[place];
    if (device.empty())
        return wiring_off("mode \"" + word + "\" needs a line " + key + "= in " + devices.path);
    return {.open = mode.open, .device = device, .fault = {}};
}

} // namespace

bool is_mode(std::string_view word) {
    return fieldrelaybox::find_word(mode_table, word) != nullptr;
}

std::array<Wiring, receiver_count> wire_receivers(const Modes& modes, const Devices& devices) {
    std::array<Wiring, receiver_count> wirings;
    const WireKeys* taken = nullptr;
    for (std::size_t i = 0; i < receiver_count; ++i) {
        const Mode& mode = *fieldrelaybox::find_word(mode_table, i == 0 ? modes.rc1 : modes.rc2);
        if (mode.open != nullptr)
            wirings[i] = wire(mode, taken == mode.keys ? 1 : 0, devices);
        taken = mode.keys;
    }
    return wirings;
}

} // namespace rcin
