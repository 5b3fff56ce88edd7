// Requests and answers over HTTP.
#include "panel/times.h"
#include "panel/web_server.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <linux/sockios.h>
#include <string_view>
#include <sys/ioctl.h>
#include <utility>

namespace panel {
namespace {

constexpr std::size_t chunk_size = 16'384;
constexpr int answer_timeout_s = 60; // of the library; ours are the shorter ones

std::string header_text(lws* wsi, lws_token_indexes token) {
    const int size = lws_hdr_total_length(wsi, token);
    if (size <= 0)
        return {};
    std::string text(static_cast<std::size_t>(size) + 1, '\0');
    const int count = lws_hdr_copy(wsi, text.data(), size + 1, token);
    text.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
    return text;
}

struct MethodToken {
    lws_token_indexes token;
    Method method;
};

constexpr std::array<MethodToken, 3> method_tokens{{
    {WSI_TOKEN_GET_URI, Method::get},
    {WSI_TOKEN_HEAD_URI, Method::head},
    {WSI_TOKEN_POST_URI, Method::post},
}};

WebRequest read_request(const Connection& connection) {
    lws* const wsi = connection.wsi;
    WebRequest request;
    request.host = header_text(wsi, WSI_TOKEN_HOST);
    request.origin = header_text(wsi, WSI_TOKEN_ORIGIN);
    request.cookies = header_text(wsi, WSI_TOKEN_HTTP_COOKIE);
    request.authorization = header_text(wsi, WSI_TOKEN_HTTP_AUTHORIZATION);
    request.known_tag = header_text(wsi, WSI_TOKEN_HTTP_IF_NONE_MATCH);
    request.from = connection.address;
    request.connection = connection.id;
    for (const MethodToken& each : method_tokens)
        if (lws_hdr_total_length(wsi, each.token) > 0)
            request.method = each.method;
    char* path = nullptr;
    int size = 0;
    if (lws_http_get_uri_and_method(wsi, &path, &size) >= 0)
        request.path.assign(path, static_cast<std::size_t>(size));
    const std::string encodings = header_text(wsi, WSI_TOKEN_HTTP_ACCEPT_ENCODING);
    request.takes_gzip = encodings.find("gzip") != std::string::npos;
    return request;
}

// -1 when it is not known: none is told, or it comes in pieces or is no number.
std::int64_t body_size_of(lws* wsi, Method method) {
    const std::string text = header_text(wsi, WSI_TOKEN_HTTP_CONTENT_LENGTH);
    if (lws_hdr_total_length(wsi, WSI_TOKEN_HTTP_TRANSFER_ENCODING) > 0)
        return -1;
    if (text.empty())
        return method == Method::post ? -1 : 0;
    std::int64_t size = 0;
    const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), size);
    return fault == std::errc{} && end == text.data() + text.size() && size >= 0 ? size : -1;
}

void give_answer(Connection& connection, const Answer& answer) {
    const bool with_body = connection.request.method != Method::head;
    connection.sending = {.head = head_of(answer),
                          .body = with_body ? answer.body : nullptr,
                          .close_after = answer.close_after};
    connection.request = {};
    enter_phase(connection, Phase::served, now_us());
    lws_set_timeout(connection.wsi, PENDING_TIMEOUT_HTTP_CONTENT, answer_timeout_s);
    lws_callback_on_writable(connection.wsi);
}

void answer_whole_request(WebServer& server, Connection& connection) {
    const Answer answer = answer_request(server.site, connection.request, now_us());
    if (answer.status == answer_later)
        enter_phase(connection, Phase::checking, now_us());
    else
        give_answer(connection, answer);
    plan_hub_time(server);
}

// The library would turn in circles over further requests of one that takes no answers.
bool takes_answers(const Connection& connection) {
    constexpr int most_untaken_bytes = 65'536;
    int untaken = 0;
    return ioctl(connection.socket, SIOCOUTQ, &untaken) != 0 || untaken <= most_untaken_bytes;
}

int take_request_head(WebServer& server, Connection& connection) {
    if (!takes_answers(connection) || connection.phase == Phase::checking)
        return -1;
    connection.request = read_request(connection);
    const std::int64_t body_size = body_size_of(connection.wsi, connection.request.method);
    Answer fault = connection.is_turned_away
                       ? refuse(503, "Too many connections: close some pages.")
                       : check_before_body(server.site, connection.request, body_size, now_us());
    if (fault.status != 204) {
        fault.close_after =
            body_size != 0 || connection.is_turned_away; // what is still to come is not read
        give_answer(connection, fault);
    } else if (body_size == 0) {
        answer_whole_request(server, connection);
    } else {
        enter_phase(connection, Phase::waiting, now_us());
    }
    return 0;
}

int take_body(Connection& connection, std::string_view data) {
    if (connection.phase != Phase::waiting)
        return 0;
    connection.request.body += data;
    return connection.request.body.size() <= longest_body ? 0 : -1;
}

int take_body_end(WebServer& server, Connection& connection) {
    if (connection.phase == Phase::waiting)
        answer_whole_request(server, connection);
    return 0;
}

bool send_http_bytes(lws* wsi, std::string_view bytes) {
    static std::array<unsigned char, LWS_PRE + chunk_size> buffer;
    std::ranges::copy(bytes, buffer.begin() + LWS_PRE);
    return lws_write(wsi, buffer.data() + LWS_PRE, bytes.size(), LWS_WRITE_HTTP) >= 0;
}

// The next piece of the answer; empty when all is sent.
std::string_view next_piece(Sending& sending) {
    if (!sending.head.empty())
        return sending.head;
    if (sending.body == nullptr)
        return {};
    return std::string_view(*sending.body).substr(sending.sent, chunk_size);
}

int finish_answer(Connection& connection) {
    const bool close = connection.sending.close_after;
    connection.sending = {};
    if (close)
        return -1;
    enter_phase(connection, Phase::resting, now_us());
    return lws_http_transaction_completed(connection.wsi) != 0 ? -1 : 0;
}

int send_answer(Connection& connection) {
    if (connection.phase != Phase::served)
        return connection.phase == Phase::ending ? -1 : 0;
    Sending& sending = connection.sending;
    const std::string_view piece = next_piece(sending);
    if (piece.empty())
        return finish_answer(connection);
    if (!send_http_bytes(connection.wsi, piece))
        return -1;
    if (!sending.head.empty())
        sending.head.clear();
    else
        sending.sent += piece.size();
    lws_callback_on_writable(connection.wsi);
    return 0;
}

Answer refuse_upgrade() {
    Answer answer = refuse(426, "Come by HTTP/1.1 as it is, or by a WebSocket.");
    answer.more_headers = "Upgrade: websocket\r\n";
    return answer;
}

// 0 lets the library go on to a WebSocket.
int check_upgrade(WebServer& server, Connection& connection, std::string_view protocol) {
    const auto is_letter_of = [](char a, char b) { return (a | 0x20) == b; };
    const bool is_known = std::ranges::equal(protocol, std::string_view("websocket"), is_letter_of);
    const WebRequest request = read_request(connection);
    Answer answer = is_known ? check_live(server.site, request, connection.session, now_us())
                             : refuse_upgrade();
    if (answer.status == 204)
        return 0;
    answer.close_after = true;
    send_http_bytes(connection.wsi, head_of(answer) + *answer.body);
    return -1;
}

} // namespace

void take_checked_passwords(WebServer& server) {
    for (PasswordCheck& check : take_checked(*server.site.password_queue)) {
        Connection* const connection = find_connection(server.connections, check.connection);
        if (connection == nullptr || connection->phase != Phase::checking)
            continue;
        connection->request.checked_hash = std::move(check.hash);
        connection->request.is_right_password = check.is_right;
        answer_whole_request(server, *connection);
    }
}

int take_http_event(WebServer& server, Connection& connection, lws_callback_reasons reason,
                    const void* data, std::size_t size) {
    const auto* const text = static_cast<const char*>(data);
    switch (reason) {
    case LWS_CALLBACK_HTTP_CONFIRM_UPGRADE:
        return check_upgrade(server, connection, text);
    case LWS_CALLBACK_HTTP:
        return take_request_head(server, connection);
    case LWS_CALLBACK_HTTP_BODY:
        return take_body(connection, std::string_view(text, size));
    case LWS_CALLBACK_HTTP_BODY_COMPLETION:
        return take_body_end(server, connection);
    case LWS_CALLBACK_HTTP_WRITEABLE:
        return send_answer(connection);
    default:
        return 0;
    }
}

} // namespace panel
