#include "panel/sessions.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <span>
#include <sys/random.h>
#include <sys/types.h>

namespace panel {
namespace {

using Token = std::map<std::string, std::int64_t, std::less<>>::iterator;

std::string random_token() {
    constexpr std::string_view digits = "0123456789abcdef";
    std::array<unsigned char, 32> bytes{};
    ssize_t count = 0;
    while ((count = getrandom(bytes.data(), bytes.size(), 0)) < 0 && errno == EINTR)
        ;
    if (count != static_cast<ssize_t>(bytes.size()))
        std::abort(); // a token that can be guessed is worse than no panel
    std::string token;
    for (const unsigned char byte : bytes) {
        token += digits[byte >> 4];
        token += digits[byte & 15];
    }
    return token;
}

std::string_view trimmed(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(' ');
    if (begin == std::string_view::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(' ') - begin + 1);
}

// The session that one of the cookies names.
Token find_token(Sessions& sessions, std::string_view cookies) {
    while (!cookies.empty()) {
        const std::size_t end = std::min(cookies.find(';'), cookies.size());
        const std::string_view cookie = trimmed(cookies.substr(0, end));
        const std::size_t equals = cookie.find('=');
        if (equals != std::string_view::npos && cookie.substr(0, equals) == session_cookie)
            if (const auto found = sessions.last_use_us.find(cookie.substr(equals + 1));
                found != sessions.last_use_us.end())
                return found;
        cookies.remove_prefix(std::min(end + 1, cookies.size()));
    }
    return sessions.last_use_us.end();
}

} // namespace

std::string begin_session(Sessions& sessions, std::int64_t now_us) {
    auto& tokens = sessions.last_use_us;
    if (tokens.size() >= most_sessions)
        tokens.erase(std::ranges::min_element(
            tokens, [](const auto& a, const auto& b) { return a.second < b.second; }));
    std::string token = random_token();
    tokens[token] = now_us;
    return token;
}

std::string find_session(Sessions& sessions, std::string_view cookies, std::int64_t now_us) {
    const auto token = find_token(sessions, cookies);
    if (token == sessions.last_use_us.end())
        return {};
    if (now_us - token->second > session_time_us) {
        sessions.last_use_us.erase(token);
        return {};
    }
    token->second = now_us;
    return token->first;
}

void end_session(Sessions& sessions, std::string_view token) {
    if (const auto found = sessions.last_use_us.find(token); found != sessions.last_use_us.end())
        sessions.last_use_us.erase(found);
}

} // namespace panel
