// Who may do what: the way from a password to a session.
#pragma once

#include "panel/site.h"
#include "panel/web_request.h"

#include <cstdint>

namespace panel {

// Always where there is no password.
bool is_logged_in(Site& site, const WebRequest& request, std::int64_t now_us);

// {"password":"..."}: 204 with the session's cookie, 400, 401, 429 or 503 with Retry-After, or
// answer_later.
Answer answer_login(Site& site, const WebRequest& request, std::int64_t now_us);

Answer answer_logout(Site& site, const WebRequest& request, std::int64_t now_us);

// Status 204 for one that is logged in or names the password with the request (HTTP Basic, any
// user name).
Answer check_metrics_reader(Site& site, const WebRequest& request, std::int64_t now_us);

} // namespace panel
