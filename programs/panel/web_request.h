// A request of a browser, as far as the panel looks at it. Everything in it is a stranger's.
#pragma once

#include "panel/listening.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace panel {

inline constexpr std::size_t longest_body = 4096;

enum class Method : std::uint8_t { get, head, post, other };

struct WebRequest {
    Method method = Method::other;
    std::string path;
    std::string host;
    std::string origin;
    std::string cookies;
    std::string authorization;
    std::string known_tag; // If-None-Match
    bool takes_gzip = false;
    Address from{};
    std::string body;
    std::uint64_t connection = 0;   // that it came by
    std::string checked_hash;       // empty: no password was checked yet
    bool is_right_password = false; // by that hash
};

} // namespace panel
