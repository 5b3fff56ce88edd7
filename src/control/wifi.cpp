#include "control/wifi.h"

#include "config/config_record.h"
#include "core/log.h"
#include "core/shell.h"
#include "core/text.h"

#include <cJSON.h>
#include <ifaddrs.h>
#include <memory>
#include <net/if.h>
#include <thread>

namespace fieldrelaybox {

namespace {

constexpr std::size_t longest_tool_line = 1022;

constexpr std::chrono::milliseconds pause_of_busy_radio{500};

// Runs "before interface_name after" and hands out its lines. Returns its exit status, -1 when
// there is none.
int ask_tool(std::string_view before, const std::string& interface_name, std::string_view after,
             const std::function<void(std::string_view)>& on_line,
             int time_limit_ms = tool_time_limit_ms) {
    if (!is_shell_safe_name(interface_name))
        return -1;
    const std::string command =
        std::string(before) + ' ' + interface_name + ' ' + std::string(after);
    return query_shell_command(command.c_str(), longest_tool_line, time_limit_ms, on_line);
}

// Appends entry behind a comma if the whole of it fits.
void append_entry(std::string& list, bool& first, std::string_view entry, std::size_t longest) {
    const std::size_t comma = first ? 0 : 1;
    if (list.size() + comma + entry.size() > longest)
        return;
    if (!first)
        list += ',';
    first = false;
    list += entry;
}

// The name in a line like:   ESSID:"name"
std::optional<std::string_view> network_name(std::string_view line) {
    constexpr std::string_view marker = "ESSID:";
    const std::size_t place = line.find(marker);
    if (place == std::string_view::npos)
        return std::nullopt;
    std::string_view name = line.substr(place + marker.size());
    if (name.ends_with('\n'))
        name.remove_suffix(1);
    if (name.size() < 2)
        return std::nullopt; // not even two quotes
    return name.substr(1, name.size() - 2);
}

// Why an interface cannot be scanned with.
const char* hindrance_of(const std::string& interface_name) {
    ifaddrs* entries = nullptr;
    const bool has_entries = getifaddrs(&entries) == 0;
    const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> owner(entries, freeifaddrs);
    for (const ifaddrs* entry = entries; has_entries && entry != nullptr; entry = entry->ifa_next) {
        if (interface_name == entry->ifa_name)
            return (entry->ifa_flags & IFF_UP) != 0 ? "its radio is busy" : "it is off";
    }
    return "there is no such interface";
}

} // namespace

std::string scan_networks(const std::string& interface_name, std::size_t longest_list) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + std::chrono::milliseconds(tool_time_limit_ms);
    std::string list;
    bool first = true;
    while (true) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        const int status = ask_tool(
            "iwlist", interface_name, "scan 2>/dev/null",
            [&](std::string_view line) {
                if (const auto name = network_name(line))
                    append_entry(list, first, *name, longest_list);
            },
            static_cast<int>(left.count()));
        if (status == 0 || !first)
            return list;
        if (status < 0 || Clock::now() + pause_of_busy_radio >= end) {
            log_warning("no scan of %s: %s", interface_name.c_str(), hindrance_of(interface_name));
            return list;
        }
        std::this_thread::sleep_for(pause_of_busy_radio);
    }
}

std::string station_ssid(const std::string& interface_name) {
    constexpr std::size_t longest_ssid = sizeof ConfigRecord::camera_link_ssid - 1;
    constexpr std::size_t label = std::string_view("ssid=").size();
    std::string ssid;
    ask_tool("wpa_cli -i", interface_name, "status 2>/dev/null", [&](std::string_view line) {
        const bool named = line.find("ssid") != std::string_view::npos &&
                           line.find("bssid") == std::string_view::npos;
        if (named && line.size() >= label)
            ssid = line.substr(label, longest_ssid);
    });
    return ssid;
}

void read_link_status_line(std::string_view line, LinkStatus& status) {
    const std::unique_ptr<cJSON, void (*)(cJSON*)> object(
        cJSON_ParseWithLength(line.data(), line.size()), cJSON_Delete);
    const auto member = [&](const char* name) { return cJSON_GetObjectItem(object.get(), name); };
    const auto take_byte = [&](const char* name, std::uint8_t& field) {
        if (const cJSON* number = member(name); cJSON_IsNumber(number))
            field = static_cast<std::uint8_t>(number->valueint & 0xFF);
    };
    if (const char* ssid = cJSON_GetStringValue(member("ssid")))
        status.ssid = ssid;
    if (const cJSON* frequency = member("freq"); cJSON_IsNumber(frequency))
        status.frequency = frequency->valueint;
    take_byte("quality", status.quality);
    take_byte("quality_max", status.quality_max);
    take_byte("signal", status.signal);
}

} // namespace fieldrelaybox
