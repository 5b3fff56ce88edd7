#include "wlanstatus/link_report.h"

#include <algorithm>

namespace wlanstatus {

namespace {

constexpr std::uint8_t ssid_element = 0;
constexpr std::size_t longest_ssid = 32;

std::string json_text(std::string_view text) {
    std::string result;
    for (const char c : text) {
        if (c == '"' || c == '\\')
            result += '\\';
        result += static_cast<unsigned char>(c) < ' ' ? '?' : c;
    }
    return result;
}

} // namespace

std::string find_ssid(std::span<const std::uint8_t> elements) {
    // Each element: a number, the length of its content, the content.
    while (elements.size() >= 2 && elements.size() >= 2U + elements[1]) {
        const std::span<const std::uint8_t> content = elements.subspan(2, elements[1]);
        if (elements[0] == ssid_element)
            return {content.begin(), content.begin() + static_cast<std::ptrdiff_t>(
                                                           std::min(content.size(), longest_ssid))};
        elements = elements.subspan(2 + content.size());
    }
    return {};
}

int link_quality(int signal) {
    return std::clamp(signal + 110, 0, best_quality);
}

std::string format_report(const Link& link) {
    const std::string quality =
        link.signal ? R"("quality":)" + std::to_string(link_quality(*link.signal)) + ',' : "";
    const std::string signal = link.signal ? R"(,"signal":)" + std::to_string(*link.signal) : "";
    return R"({"ssid":")" + json_text(link.ssid) + R"(","freq":)" + std::to_string(link.frequency) +
           "}\n{" + quality + R"("quality_max":)" + std::to_string(best_quality) + signal + "}\n";
}

} // namespace wlanstatus
