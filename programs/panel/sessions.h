// Who has logged in: a random token in a cookie each.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace panel {

inline constexpr std::size_t most_sessions = 64; // the one unused longest goes
inline constexpr std::int64_t session_time_us = 30LL * 24 * 3600 * 1'000'000;
inline constexpr const char* session_cookie = "fieldrelaybox-panel";

struct Sessions {
    std::map<std::string, std::int64_t, std::less<>> last_use_us; // by token
};

// A new token of 256 random bits, as hexadecimal digits.
std::string begin_session(Sessions& sessions, std::int64_t now_us);

// cookies: the request's header. The token of the session that one of them names and that goes on;
// empty when there is none.
std::string find_session(Sessions& sessions, std::string_view cookies, std::int64_t now_us);

// Unknown tokens change nothing.
void end_session(Sessions& sessions, std::string_view token);

} // namespace panel
