#include "network/wishes.h"

#include "config/settings.h"
#include "core/log_text.h"
#include "core/text.h"
#include "network/regulations.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstddef>
#include <vector>

namespace network {

namespace {

using fieldrelaybox::text_of;

constexpr std::size_t longest_name = 32;
constexpr std::size_t shortest_phrase = 8;
constexpr std::size_t longest_phrase = 63;

constexpr std::array own_keys{
    "ap_iface",   "ap_ssid",   "ap_psk",   "ap_mode",      "ap_country",  "ap_channel",
    "wifi_iface", "wifi_ssid", "wifi_psk", "camera_iface", "camera_ssid", "camera_psk",
};

// Scans tell a byte that is no printable ASCII as \xC3, and apps hand a name back as it was told.
std::string plain_name(std::string_view told) {
    constexpr std::string_view mark = "\\x";
    constexpr std::size_t digits = 2;
    std::string name;
    while (!told.empty()) {
        const std::string_view number =
            told.starts_with(mark) ? told.substr(mark.size(), digits) : std::string_view();
        unsigned char byte = 0;
        const char* const end = number.data() + number.size();
        if (number.size() == digits && std::from_chars(number.data(), end, byte, 16).ptr == end) {
            name += static_cast<char>(byte);
            told.remove_prefix(mark.size() + digits);
        } else {
            name += told.front();
            told.remove_prefix(1);
        }
    }
    return name;
}

std::optional<Wifi> wifi_of(std::string_view interface_name, std::string_view name,
                            std::string_view phrase) {
    if (interface_name.empty() || name.empty())
        return std::nullopt;
    return Wifi{std::string(interface_name), plain_name(name), std::string(phrase)};
}

bool is_key(std::string_view phrase) {
    return phrase.size() == key_digits &&
           std::ranges::all_of(phrase, [](unsigned char c) { return std::isxdigit(c) != 0; });
}

std::string fault_of_wifi(const Named& named) {
    const Wifi& wifi = *named.wifi;
    const std::string word = named.word;
    if (!fieldrelaybox::is_shell_safe_name(wifi.interface_name))
        return word + "_iface is no name of an interface";
    if (wifi.name.size() > longest_name)
        return word + "_ssid is longer than 32 bytes";
    const bool fits =
        wifi.phrase.empty() || is_key(wifi.phrase) ||
        (wifi.phrase.size() >= shortest_phrase && wifi.phrase.size() <= longest_phrase);
    if (!fits)
        return word + "_psk has " + std::to_string(wifi.phrase.size()) +
               " bytes; a pass phrase has 8 to 63, a key 64 hexadecimal digits, an open network "
               "none";
    if (fieldrelaybox::shown_text(wifi.phrase) != wifi.phrase)
        return word + "_psk holds control characters, or bytes that are no UTF-8";
    return "";
}

std::string fault_of_channel(const AccessPoint& wanted, std::string_view regulations) {
    const std::string channel = "channel " + std::to_string(wanted.channel);
    if (wanted.band != 2 && wanted.band != 5)
        return "ap_mode is " + std::to_string(wanted.band) + "; 2 is 2.4 GHz, 5 is 5 GHz";
    const int frequency = frequency_of(wanted.band, wanted.channel);
    if (frequency == 0)
        return "ap_" + channel +
               (wanted.band == 2
                    ? " is none of 2.4 GHz: 1 to 13"
                    : " is none of 5 GHz for an access point: 36, 40, 44, 48, 149, 153, "
                      "157, 161, 165");
    const std::string country = fieldrelaybox::shown_text(wanted.country);
    const bool world = wanted.country == "00";
    const auto capital = [](unsigned char c) { return c >= 'A' && c <= 'Z'; };
    if (!world && (wanted.country.size() != 2 || !std::ranges::all_of(wanted.country, capital)))
        return "ap_country \"" + country + "\" is no country: two capitals such as US, or 00";
    switch (permission_of(regulations, wanted.country, frequency)) {
    case Permission::refused:
        return world ? channel + " is not allowed everywhere: ap_country has to name the country"
                     : channel + " is not allowed to an access point in " + country;
    case Permission::unknown_country:
        return "ap_country " + country + " is not among the countries of " + regulations_file;
    case Permission::granted:
    case Permission::unknown:
        break;
    }
    return "";
}

// A radio is on one channel at a time.
std::string fault_of_pair(const Named& one, const Named& other, const Ground& ground) {
    const std::string words = std::string(one.word) + "_iface and " + other.word + "_iface ";
    if (one.wifi->interface_name == other.wifi->interface_name)
        return words + "are both " + one.wifi->interface_name +
               "; each network needs a radio of its own";
    const std::string radio = ground.radio_of(one.wifi->interface_name);
    if (!radio.empty() && radio == ground.radio_of(other.wifi->interface_name))
        return words + "are of one radio (" + radio + "); each network needs one of its own";
    return "";
}

std::string fault_of_pairs(const std::vector<Named>& all, const Ground& ground) {
    for (std::size_t i = 0; i < all.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            if (std::string fault = fault_of_pair(all[j], all[i], ground); !fault.empty())
                return fault;
        }
    }
    return "";
}

} // namespace

std::vector<Named> all_of(const Wishes& wishes) {
    std::vector<Named> all;
    if (wishes.camera)
        all.push_back({"camera", &*wishes.camera});
    if (wishes.home)
        all.push_back({"wifi", &*wishes.home});
    if (wishes.access_point)
        all.push_back({"ap", &wishes.access_point->wifi});
    return all;
}

Wishes wishes_of(const ConfigRecord& settings) {
    Wishes wishes;
    wishes.camera = wifi_of(text_of(settings.camera_iface), text_of(settings.camera_ssid),
                            text_of(settings.camera_psk));
    wishes.home = wifi_of(text_of(settings.wifi_iface), text_of(settings.wifi_ssid),
                          text_of(settings.wifi_psk));
    const std::string_view country = text_of(settings.ap_country);
    if (auto wifi = wifi_of(text_of(settings.ap_iface), text_of(settings.ap_ssid),
                            text_of(settings.ap_psk)))
        wishes.access_point = AccessPoint{.wifi = std::move(*wifi),
                                          .band = settings.ap_mode,
                                          .channel = settings.ap_channel,
                                          .country = std::string(country.empty() ? "00" : country)};
    return wishes;
}

void leave_out(std::string_view network, ConfigRecord& settings) {
    if (network == camera_network)
        settings.camera_iface[0] = '\0';
    else if (network == home_network)
        settings.wifi_iface[0] = '\0';
    else if (network == access_point_network)
        settings.ap_iface[0] = '\0';
}

std::string text_of_wishes(const ConfigRecord& settings) {
    std::string text;
    for (const char* key : own_keys)
        text += fieldrelaybox::format_setting(*fieldrelaybox::find_setting(key), settings) + '\n';
    return text;
}

std::string fault_of(const Wishes& wishes, const Ground& ground) {
    const std::vector<Named> all = all_of(wishes);
    for (const Named& named : all) {
        if (std::string fault = fault_of_wifi(named); !fault.empty())
            return fault;
    }
    if (wishes.access_point) {
        if (std::string fault = fault_of_channel(*wishes.access_point, ground.regulations);
            !fault.empty())
            return fault;
    }
    return fault_of_pairs(all, ground);
}

} // namespace network
