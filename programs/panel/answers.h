// What is answered to a request of a browser. It knows nothing of the library that carries both.
#pragma once

#include "panel/site.h"
#include "panel/web_request.h"

#include <cstdint>
#include <string>

namespace panel {

// Status answer_later: ask again when its password is checked.
Answer answer_request(Site& site, const WebRequest& request, std::int64_t now_us);

// What is wrong with a request whose body is yet to come: status 204 when nothing is. Counts it.
Answer check_before_body(Site& site, const WebRequest& request, std::int64_t body_size,
                         std::int64_t now_us);

// Whether a WebSocket may be opened, status 204 then; session is the token it goes by.
Answer check_live(Site& site, const WebRequest& request, std::string& session, std::int64_t now_us);

} // namespace panel
