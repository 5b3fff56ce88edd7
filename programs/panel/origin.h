// Whether a request is meant for this panel: against pages of other sites that open connections to
// it, and against names that are made to lead to it.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace panel {

// An IP address, "localhost", a name that ends with ".local" or one of names, each with or without
// a port. Letter case does not matter.
bool is_own_host(std::string_view host, std::span<const std::string> names);

// Whether origin ("http://HOST[:PORT]", "https://...") is where a page that this panel served is
// from: the host that the same request names, and the scheme that it came over.
bool is_own_origin(std::string_view origin, std::string_view host, bool secure);

} // namespace panel
