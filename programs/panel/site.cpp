#include "panel/site.h"

#include <algorithm>
#include <memory>

namespace panel {
namespace {

struct Reason {
    int status;
    const char* text;
};

constexpr std::array<Reason, 14> reasons{{
    {200, "OK"},
    {204, "No Content"},
    {304, "Not Modified"},
    {400, "Bad Request"},
    {401, "Unauthorized"},
    {403, "Forbidden"},
    {404, "Not Found"},
    {405, "Method Not Allowed"},
    {411, "Length Required"},
    {413, "Content Too Large"},
    {421, "Misdirected Request"},
    {426, "Upgrade Required"},
    {429, "Too Many Requests"},
    {503, "Service Unavailable"},
}};

const char* reason_of(int status) {
    const auto* const row = std::ranges::find_if(
        reasons, [status](const Reason& each) { return each.status == status; });
    return row == reasons.end() ? "" : row->text;
}

} // namespace

Answer refuse(int status, std::string_view why) {
    return {.status = status,
            .content_type = "text/plain; charset=utf-8",
            .body = std::make_shared<const std::string>(std::string(why) + "\n"),
            .more_headers = {}};
}

std::string head_of(const Answer& answer) {
    std::string head =
        "HTTP/1.1 " + std::to_string(answer.status) + ' ' + reason_of(answer.status) + "\r\n";
    for (const Header& header : common_headers)
        head += std::string(header.name) + ' ' + header.value + "\r\n";
    if (!answer.content_type.empty())
        head += "Content-Type: " + answer.content_type + "\r\n";
    if (answer.body != nullptr)
        head += "Content-Length: " + std::to_string(answer.body->size()) + "\r\n";
    if (answer.close_after)
        head += "Connection: close\r\n";
    return head + answer.more_headers + "\r\n";
}

} // namespace panel
