// What the panel serves, by what it lets in, and what an answer is made of.
#pragma once

#include "panel/hub.h"
#include "panel/options.h"
#include "panel/page_files.h"
#include "panel/password_checks.h"
#include "panel/rates.h"
#include "panel/sessions.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace panel {

inline constexpr int answer_later = 0; // when the password is checked

struct Answer {
    int status = 204;
    std::string content_type;
    SharedText body;          // null: none
    std::string more_headers; // each with its line end
    bool close_after = false;
};

// What the answers go by.
struct Site {
    const Options* options = nullptr;
    Hub* hub = nullptr;
    bool secure = false;             // https
    std::string password_hash;       // empty: there is no password
    std::string right_authorization; // the last one that was right: checking it anew takes long
    PageFiles files;
    Sessions sessions;
    std::shared_ptr<PasswordQueue> password_queue; // null without a password
    Allowances address_tries;
    Allowances network_tries;
    Allowances requests;
    std::int64_t failure_told_us = 0;
    std::uint64_t failures_untold = 0;
    std::function<std::size_t()> count_connections;
    std::function<void(std::string_view token)> logged_out; // what is open under it is to end
};

struct Header {
    const char* name; // with its colon
    const char* value;
};

// On every answer, whoever gives it.
inline constexpr std::array<Header, 6> common_headers{{
    {"Content-Security-Policy:",
     "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data: blob:; "
     "media-src 'self' blob:; connect-src 'self'; manifest-src 'self'; base-uri 'none'; "
     "form-action 'none'; frame-ancestors 'none'"},
    {"X-Content-Type-Options:", "nosniff"},
    {"Referrer-Policy:", "no-referrer"},
    {"Cross-Origin-Opener-Policy:", "same-origin"},
    {"Cross-Origin-Resource-Policy:", "same-origin"},
    {"Cache-Control:", "no-cache"},
}};

// A plain line that says why.
Answer refuse(int status, std::string_view why);

// Status line, headers and the empty line. The body is left out for HEAD, not its length.
std::string head_of(const Answer& answer);

} // namespace panel
