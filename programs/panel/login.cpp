#include "panel/login.h"

#include "core/log.h"
#include "panel/password_checks.h"
#include "panel/password_texts.h"
#include "panel/passwords.h"
#include "panel/times.h"

#include <optional>
#include <string>
#include <utility>

namespace panel {
namespace {

constexpr std::int64_t failure_pause_us = 60 * second_us;

constexpr Rate address_tries{.most = 5, .a_second = 1.0 / 20};
// Neighbours in one IPv6 network share it, and each of them has addresses without end.
constexpr Rate network_tries{.most = 60, .a_second = 1};

// The first at once, then how many there were, once a minute.
void tell_failure(Site& site, const Address& from, std::int64_t now_us) {
    site.failures_untold++;
    if (site.failure_told_us != 0 && now_us - site.failure_told_us < failure_pause_us)
        return;
    fieldrelaybox::log_warning("login: %s gave a wrong password (%llu failures so far untold)",
                               text_of(from).c_str(),
                               static_cast<unsigned long long>(site.failures_untold));
    site.failure_told_us = now_us;
    site.failures_untold = 0;
}

Answer refuse_for_now(int status, std::string_view why, int seconds) {
    Answer answer = refuse(status, why);
    answer.more_headers = "Retry-After: " + std::to_string(seconds) + "\r\n";
    return answer;
}

// The answer comes when the password is checked, unless there were too many tries.
Answer begin_check(Site& site, const WebRequest& request, std::string password,
                   std::int64_t now_us) {
    if (!has_room(*site.password_queue))
        return refuse_for_now(503, "Too many log in at once, try again.", 2);
    if (!count_within(site.address_tries, address_tries, request.from, now_us) ||
        !count_within(site.network_tries, network_tries, network_of(request.from), now_us))
        return refuse_for_now(429, "Too many tries, wait a little.", 20);
    begin_check(site.password_queue, {.connection = request.connection,
                                      .hash = site.password_hash,
                                      .password = std::move(password)});
    Answer later;
    later.status = answer_later;
    return later;
}

// Status 204 when it is the right one.
Answer check_password(Site& site, const WebRequest& request, std::string password,
                      std::int64_t now_us) {
    if (request.checked_hash.empty())
        return begin_check(site, request, std::move(password), now_us);
    if (!request.is_right_password || request.checked_hash != site.password_hash) {
        tell_failure(site, request.from, now_us);
        return refuse(401, "Wrong password.");
    }
    site.address_tries.by_address.erase(request.from);
    site.network_tries.by_address.erase(network_of(request.from));
    return {};
}

} // namespace

bool is_logged_in(Site& site, const WebRequest& request, std::int64_t now_us) {
    return site.password_hash.empty() ||
           !find_session(site.sessions, request.cookies, now_us).empty();
}

Answer answer_login(Site& site, const WebRequest& request, std::int64_t now_us) {
    if (site.password_hash.empty())
        return {};
    std::optional<std::string> password = password_in(request.body);
    if (!password)
        return refuse(400, R"({"password":"..."} is needed.)");
    Answer answer = check_password(site, request, std::move(*password), now_us);
    if (answer.status != 204)
        return answer;
    answer.more_headers = std::string("Set-Cookie: ") + session_cookie + '=' +
                          begin_session(site.sessions, now_us) +
                          "; Path=/; Max-Age=" + std::to_string(session_time_us / second_us) +
                          "; HttpOnly; SameSite=Strict" + (site.secure ? "; Secure" : "") + "\r\n";
    fieldrelaybox::log_line("login: %s logged in", text_of(request.from).c_str());
    return answer;
}

Answer answer_logout(Site& site, const WebRequest& request, std::int64_t now_us) {
    const std::string token = find_session(site.sessions, request.cookies, now_us);
    if (!token.empty()) {
        end_session(site.sessions, token);
        site.logged_out(token);
    }
    Answer answer;
    answer.more_headers = std::string("Set-Cookie: ") + session_cookie + "=; Path=/; Max-Age=0\r\n";
    return answer;
}

Answer check_metrics_reader(Site& site, const WebRequest& request, std::int64_t now_us) {
    const std::string& given = request.authorization;
    if (is_logged_in(site, request, now_us) ||
        (!given.empty() && is_same_text(given, site.right_authorization)))
        return {};
    std::optional<std::string> password = password_of(given);
    Answer answer = password ? check_password(site, request, std::move(*password), now_us)
                             : refuse(401, "The panel's password is needed.");
    if (answer.status == 204)
        site.right_authorization = given;
    if (answer.status == 401)
        answer.more_headers = "WWW-Authenticate: Basic realm=\"fieldrelaybox-panel\"\r\n";
    return answer;
}

} // namespace panel
