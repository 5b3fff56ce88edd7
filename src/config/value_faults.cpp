#include "config/value_faults.h"

#include "config/channel_functions.h"
#include "config/own_inputs.h"
#include "config/settings.h"
#include "core/sockets.h"
#include "core/text.h"
#include "core/word_table.h"

#include <cstdlib>
#include <limits>
#include <net/if.h>

namespace fieldrelaybox {

namespace {

std::string quoted(std::string_view text) {
    return '"' + std::string(text) + '"';
}

ConfigRecord record_of(const Setting& setting, const std::string& value) {
    ConfigRecord record{};
    read_setting(setting, value.c_str(), record);
    return record;
}

// What the daemon goes on with.
std::int32_t taken_number(const Setting& setting, const std::string& value) {
    const std::int32_t number = number_in(record_of(setting, value), setting.field);
    const bool has_default = setting.initial.time == DefaultTime::after_loading;
    return number == 0 && has_default ? parse_decimal(std::string(setting.initial.value).c_str())
                                      : number;
}

struct Range {
    long long lowest;
    long long highest;
};

Range range_of(const Setting& setting) {
    if (setting.limits.highest != 0)
        return {setting.limits.lowest, setting.limits.highest};
    if (setting.kind == SettingKind::boolean)
        return {0, 1};
    if (setting.kind == SettingKind::byte)
        return {0, std::numeric_limits<std::uint8_t>::max()};
    return {std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()};
}

// Whether value is one of the choices "2 2.4 GHz|5 5 GHz", which then stand in words as "2, 5".
bool is_choice(std::string_view choices, std::string_view value, std::string& words) {
    bool found = choices.empty();
    while (!choices.empty()) {
        const std::string_view choice = take_item(choices, '|');
        const std::string_view word = choice.substr(0, choice.find(' '));
        found = found || word == value;
        words += (words.empty() ? "" : ", ") + std::string(word);
    }
    return found;
}

// Empty when there is none.
std::string number_fault(const Setting& setting, const std::string& value) {
    char* end = nullptr;
    const long long number = std::strtoll(value.c_str(), &end, 10);
    if (*end != '\0')
        return quoted(value) +
               (end == value.c_str() ? " is not a number" : " is more than a number");
    const Range range = range_of(setting);
    std::string words;
    if (number == 0)
        return "";
    if (number < range.lowest || number > range.highest)
        return value + " is not within " + std::to_string(range.lowest) + " to " +
               std::to_string(range.highest);
    return is_choice(setting.choices, std::to_string(number), words)
               ? ""
               : value + " is none of " + words;
}

// Returns how many of them are usable. Each gets datagrams at so many ports.
std::size_t tell_receivers(std::string_view list, int ports, const Tell& tell) {
    const auto highest_port = static_cast<std::uint16_t>(0x10000 - ports);
    std::size_t usable = 0;
    while (!list.empty()) {
        const std::string_view item = take_item(list, ',');
        const auto receiver = parse_endpoint(item, highest_port);
        if (receiver && !is_own_input(*receiver, ports))
            ++usable;
        else
            tell(quoted(item) +
                 (receiver ? ": the box itself receives there" : " is not address:port"));
    }
    return usable;
}

void tell_udp_clients(std::string_view list, const Tell& tell) {
    if (tell_receivers(list, udp_client_ports, tell) > udp_client_limit)
        tell("only the first " + std::to_string(udp_client_limit) + " receivers count");
}

void tell_mpegts_clients(std::string_view list, const Tell& tell) {
    tell_receivers(list, 1, tell);
}

void tell_channel_map(std::string_view map, const Tell& tell) {
    for (std::size_t channel = 1; !map.empty(); ++channel) {
        const std::string_view name = take_item(map, ',');
        if (channel > FIELDRELAYBOX_RC_CHANNELS) {
            tell("there are no more than " + std::to_string(FIELDRELAYBOX_RC_CHANNELS) +
                 " channels");
            return;
        }
        if (!name.empty() && find_channel_function(name) == ChannelFunction::none)
            tell(quoted(name) + " is no channel function; channel " + std::to_string(channel) +
                 " does nothing");
    }
}

void tell_interface(std::string_view name, const Tell& tell) {
    if (!is_shell_safe_name(name))
        tell(quoted(name) + " cannot be the name of an interface; it is never asked for");
    else if (if_nametoindex(std::string(name).c_str()) == 0)
        tell("there is no interface " + quoted(name) + " here now");
}

void tell_server_host(std::string_view host, const Tell& tell) {
    in_addr address{};
    if (!parse_ipv4(host, address))
        tell(quoted(host) + " is not a dotted IPv4 address; names are not resolved");
}

struct TextCheck {
    std::string_view word; // the key
    void (*check)(std::string_view text, const Tell& tell);
};

constexpr std::array<TextCheck, 7> text_checks{{
    {"udp_clients", tell_udp_clients},
    {"mpegts_clients", tell_mpegts_clients},
    {"rc_input_map", tell_channel_map},
    {"ap_iface", tell_interface},
    {"wifi_iface", tell_interface},
    {"camera_iface", tell_interface},
    {"server_host", tell_server_host},
}};

void tell_text_faults(const Setting& setting, const std::string& value, const Tell& tell) {
    const ConfigRecord record = record_of(setting, value);
    const std::string_view text = text_in(record, setting.field);
    const std::size_t longest = setting.field.capacity - 1U;
    if (value.size() > longest)
        tell("longer than " + std::to_string(longest) + " characters; the rest is left out");
    if (text.empty())
        return;
    if (std::string words; !is_choice(setting.choices, text, words))
        tell(quoted(text) + " is none of " + words);
    if (const TextCheck* found = find_word(text_checks, setting.key))
        found->check(text, tell);
}

} // namespace

void tell_value_faults(const Setting& setting, const std::string& value, const Tell& tell) {
    if (is_text(setting.kind)) {
        tell_text_faults(setting, value, tell);
        return;
    }
    const std::string fault = value.empty() ? "" : number_fault(setting, value);
    if (!fault.empty())
        tell(fault + "; taken as " + std::to_string(taken_number(setting, value)));
}

} // namespace fieldrelaybox
