// What the settings want of the box's networks, and whether that can be. Entered by everything
// else of this program.
#pragma once

#include "fieldrelaybox/shared_memory.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace network {

// A phrase of so many hexadecimal digits is the key itself.
inline constexpr std::size_t key_digits = 64;

// Names and phrases are bytes of any kind; without a phrase the network is open.
struct Wifi {
    std::string interface_name;
    std::string name; // its SSID, any bytes
    std::string phrase;

    bool operator==(const Wifi&) const = default;
};

struct AccessPoint {
    Wifi wifi;
    int band = 0; // 2 is 2.4 GHz, 5 is 5 GHz
    int channel = 0;
    std::string country; // two capitals, or "00" for none

    bool operator==(const AccessPoint&) const = default;
};

// What is not there is off: it has no interface or no name.
struct Wishes {
    std::optional<Wifi> camera;
    std::optional<Wifi> home;
    std::optional<AccessPoint> access_point;

    bool operator==(const Wishes&) const = default;
};

// The networks by name, in the log too.
inline constexpr std::string_view camera_network = "camera";
inline constexpr std::string_view home_network = "network";
inline constexpr std::string_view access_point_network = "access point";

// One by the word that begins its settings.
struct Named {
    const char* word;
    const Wifi* wifi;
};

// Those that are not off. They point into wishes.
std::vector<Named> all_of(const Wishes& wishes);

Wishes wishes_of(const ConfigRecord& settings);

// Switches off one of them.
void leave_out(std::string_view network, ConfigRecord& settings);

// The settings that wishes_of looks at, as a file of settings.
std::string text_of_wishes(const ConfigRecord& settings);

// What there is to know of the box for the question whether wishes can be.
struct Ground {
    // The radio that an interface belongs to; empty when nobody knows.
    std::function<std::string(const std::string& interface_name)> radio_of;
    std::string_view regulations; // the file of regulations.h; empty when it is not there
};

// Why they cannot be, in words for the log; empty when they can. Not the pass phrases.
std::string fault_of(const Wishes& wishes, const Ground& ground);

} // namespace network
