#include "panel/origin.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cstddef>
#include <netinet/in.h>

namespace panel {
namespace {

char lower(char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

bool is_same_name(std::string_view a, std::string_view b) {
    return std::ranges::equal(a, b, {}, lower, lower);
}

bool is_port(std::string_view text) {
    return !text.empty() && text.size() <= 5 &&
           std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

bool is_address(int family, std::string_view text) {
    std::array<char, INET6_ADDRSTRLEN> copy{};
    if (text.size() >= copy.size())
        return false;
    std::ranges::copy(text, copy.begin());
    in6_addr address{};
    return inet_pton(family, copy.data(), &address) == 1;
}

bool is_host_name(std::string_view text) {
    return !text.empty() && text.size() <= 253 && std::ranges::all_of(text, [](char c) {
        return (lower(c) >= 'a' && lower(c) <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
               c == '.';
    });
}

// "[ADDRESS]" or "[ADDRESS]:PORT".
bool is_bracketed_address(std::string_view host) {
    const std::size_t end = host.find(']');
    if (end == std::string_view::npos || !is_address(AF_INET6, host.substr(1, end - 1)))
        return false;
    const std::string_view rest = host.substr(end + 1);
    return rest.empty() || (rest.front() == ':' && is_port(rest.substr(1)));
}

bool is_own_name(std::string_view name, std::span<const std::string> names) {
    constexpr std::string_view local = ".local";
    if (is_address(AF_INET, name) || is_same_name(name, "localhost"))
        return true;
    if (!is_host_name(name))
        return false;
    if (name.size() > local.size() && is_same_name(name.substr(name.size() - local.size()), local))
        return true;
    return std::ranges::any_of(names, [&](const auto& own) { return is_same_name(own, name); });
}

} // namespace

bool is_own_host(std::string_view host, std::span<const std::string> names) {
    if (host.starts_with('['))
        return is_bracketed_address(host);
    const std::size_t colon = host.find(':');
    if (colon != std::string_view::npos && !is_port(host.substr(colon + 1)))
        return false;
    return is_own_name(host.substr(0, colon), names);
}

bool is_own_origin(std::string_view origin, std::string_view host, bool secure) {
    const std::string_view scheme = secure ? "https://" : "http://";
    return origin.size() > scheme.size() && is_same_name(origin.substr(0, scheme.size()), scheme) &&
           is_same_name(origin.substr(scheme.size()), host);
}

} // namespace panel
