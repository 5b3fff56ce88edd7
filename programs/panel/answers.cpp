#include "panel/answers.h"

#include "panel/login.h"
#include "panel/metrics.h"
#include "panel/origin.h"

#include <algorithm>
#include <array>
#include <memory>

namespace panel {
namespace {

Answer fine() {
    return {};
}

bool is_fine(const Answer& answer) {
    return answer.status == 204;
}

bool is_read(Method method) {
    return method == Method::get || method == Method::head;
}

Answer answer_session(Site& site, const WebRequest& request, std::int64_t now_us) {
    return is_logged_in(site, request, now_us) ? fine() : refuse(401, "Log in first.");
}

Answer answer_metrics(Site& site, const WebRequest& request, std::int64_t now_us) {
    Answer fault = check_metrics_reader(site, request, now_us);
    if (!is_fine(fault))
        return fault;
    return {.status = 200,
            .content_type = "text/plain; version=0.0.4; charset=utf-8",
            .body = std::make_shared<const std::string>(
                metrics_text(*site.hub, site.count_connections(), now_us)),
            .more_headers = {}};
}

Answer answer_live(Site& /*site*/, const WebRequest& /*request*/, std::int64_t /*now_us*/) {
    return refuse(426, "This is for WebSockets.");
}

// The places that are no files.
struct Route {
    std::string_view path;
    bool reads; // GET and HEAD, else POST
    Answer (*answer)(Site& site, const WebRequest& request, std::int64_t now_us);
};

constexpr std::array<Route, 5> routes{{
    {"/session", true, answer_session},
    {"/metrics", true, answer_metrics},
    {"/live", true, answer_live},
    {"/login", false, answer_login},
    {"/logout", false, answer_logout},
}};

const Route* route_of(std::string_view path) {
    const auto* const found =
        std::ranges::find_if(routes, [path](const Route& route) { return route.path == path; });
    return found == routes.end() ? nullptr : found;
}

Answer refuse_method(bool reads) {
    Answer answer = refuse(405, "Not in this way.");
    answer.more_headers = reads ? "Allow: GET, HEAD\r\n" : "Allow: POST\r\n";
    return answer;
}

Answer answer_file(const PageFile& file, const WebRequest& request) {
    const bool packed = request.takes_gzip && file.packed != nullptr;
    const std::string tag = '"' + file.tag + (packed ? "-gzip\"" : "\"");
    Answer answer{.status = 200,
                  .content_type = file.content_type,
                  .body = packed ? file.packed : file.content,
                  .more_headers = "ETag: " + tag + "\r\nVary: Accept-Encoding\r\n"};
    if (request.known_tag.find(tag) != std::string::npos) {
        answer.status = 304;
        answer.body = nullptr;
    } else if (packed) {
        answer.more_headers += "Content-Encoding: gzip\r\n";
    }
    return answer;
}

Answer answer_known_host(Site& site, const WebRequest& request, std::int64_t now_us) {
    if (const Route* const route = route_of(request.path)) {
        const bool fits = route->reads ? is_read(request.method) : request.method == Method::post;
        return fits ? route->answer(site, request, now_us) : refuse_method(route->reads);
    }
    const auto file = site.files.by_path.find(request.path);
    if (file == site.files.by_path.end())
        return refuse(404, site.files.by_path.empty() ? "The page is not installed." : "Not here.");
    return is_read(request.method) ? answer_file(file->second, request) : refuse_method(true);
}

Answer check_host(const Site& site, const WebRequest& request) {
    if (is_own_host(request.host, site.options->host_names))
        return fine();
    return refuse(421, "Come by an IP address or a name that ends with .local, or start "
                       "fieldrelaybox-panel with --name and the name that you came by.");
}

Answer check_origin(const Site& site, const WebRequest& request) {
    if (is_own_origin(request.origin, request.host, site.secure))
        return fine();
    return refuse(403, "Only the panel's own page may do that.");
}

Answer check_rate(Site& site, const Address& from, std::int64_t now_us) {
    constexpr Rate requests{.most = 100, .a_second = 50};
    if (count_within(site.requests, requests, from, now_us))
        return fine();
    Answer answer = refuse(429, "Too many requests, wait a little.");
    answer.more_headers = "Retry-After: 1\r\n";
    return answer;
}

} // namespace

Answer answer_request(Site& site, const WebRequest& request, std::int64_t now_us) {
    Answer fault = check_host(site, request);
    return is_fine(fault) ? answer_known_host(site, request, now_us) : fault;
}

Answer check_before_body(Site& site, const WebRequest& request, std::int64_t body_size,
                         std::int64_t now_us) {
    if (Answer fault = check_rate(site, request.from, now_us); !is_fine(fault))
        return fault;
    if (Answer fault = check_host(site, request); !is_fine(fault))
        return fault;
    const bool has_body = request.method == Method::post;
    if (has_body && body_size < 0)
        return refuse(411, "How long is it?");
    if (body_size < 0)
        return refuse(400, "Nothing is to follow here.");
    if (body_size > (has_body ? static_cast<std::int64_t>(longest_body) : 0))
        return refuse(413, "That is too long.");
    return has_body ? check_origin(site, request) : fine();
}

Answer check_live(Site& site, const WebRequest& request, std::string& session,
                  std::int64_t now_us) {
    if (Answer fault = check_rate(site, request.from, now_us); !is_fine(fault))
        return fault;
    if (Answer fault = check_host(site, request); !is_fine(fault))
        return fault;
    if (request.path != "/live" || request.method != Method::get)
        return refuse(404, "Not here.");
    if (Answer fault = check_origin(site, request); !is_fine(fault))
        return fault;
    session = find_session(site.sessions, request.cookies, now_us);
    return is_logged_in(site, request, now_us) ? fine() : refuse(401, "Log in first.");
}

} // namespace panel
