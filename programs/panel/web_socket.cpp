// Browsers at their WebSocket: messages of theirs to the hub, messages of the hub to them.
#include "panel/message.h"
#include "panel/requests.h"
#include "panel/times.h"
#include "panel/web_server.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <string_view>
#include <sys/socket.h>

namespace panel {
namespace {

// What waits should wait in the outbox, where it can still be left out: 32 ms at 8 Mbit/s.
constexpr int most_unsent = 32 * 1024;

static_assert(room_before_message >= LWS_PRE);

// There are as many browsers as there may be.
constexpr auto try_again_later = static_cast<lws_close_status>(1013);

int send_away(WebServer& server, Connection& connection, lws_close_status status) {
    leave_hub(server, connection);
    lws_close_reason(connection.wsi, status, nullptr, 0);
    return -1;
}

int welcome(WebServer& server, Connection& connection) {
    enter_phase(connection, Phase::live, now_us());
    setsockopt(connection.socket, IPPROTO_TCP, TCP_NOTSENT_LOWAT, &most_unsent, sizeof most_unsent);
    connection.browser = connection.is_turned_away ? 0 : add_browser(*server.hub, now_us());
    lws_callback_on_writable(connection.wsi);
    plan_hub_time(server);
    return 0;
}

int send_next(WebServer& server, Connection& connection) {
    if (connection.phase == Phase::ending)
        return -1;
    if (connection.browser == 0)
        return send_away(server, connection, try_again_later);
    const SharedMessage message = next_message(*server.hub, connection.browser);
    if (message == nullptr)
        return 0;
    // The library writes its header before the message, the same for everybody.
    auto& bytes = const_cast<Message&>(*message).room_and_bytes;
    std::uint8_t* const begin = bytes.data() + room_before_message;
    const std::size_t size = bytes.size() - room_before_message;
    if (lws_write(connection.wsi, begin, size, LWS_WRITE_BINARY) < 0)
        return -1;
    lws_callback_on_writable(connection.wsi);
    return 0;
}

int take_message_part(WebServer& server, Connection& connection, std::string_view part) {
    if (connection.browser == 0)
        return -1;
    if (lws_is_first_fragment(connection.wsi) != 0)
        connection.message.clear();
    if (connection.message.size() + part.size() > longest_request)
        return send_away(server, connection, LWS_CLOSE_STATUS_MESSAGE_TOO_LARGE);
    connection.message += part;
    if (lws_is_final_fragment(connection.wsi) == 0 ||
        lws_remaining_packet_payload(connection.wsi) > 0)
        return 0;
    if (lws_frame_is_binary(connection.wsi) != 0)
        return send_away(server, connection, LWS_CLOSE_STATUS_UNACCEPTABLE_OPCODE);
    if (!take_one(connection.messages, message_rate, now_us()))
        return send_away(server, connection, LWS_CLOSE_STATUS_POLICY_VIOLATION);
    take_request(*server.hub, connection.browser, connection.message, now_us());
    plan_hub_time(server);
    return 0;
}

} // namespace

void leave_hub(WebServer& server, Connection& connection) {
    if (connection.browser == 0)
        return;
    const BrowserId browser = connection.browser;
    connection.browser = 0;
    remove_browser(*server.hub, browser, now_us());
    plan_hub_time(server);
}

int take_live_event(WebServer& server, Connection& connection, lws_callback_reasons reason,
                    const void* data, std::size_t size) {
    switch (reason) {
    case LWS_CALLBACK_ESTABLISHED:
        return welcome(server, connection);
    case LWS_CALLBACK_SERVER_WRITEABLE:
        return send_next(server, connection);
    case LWS_CALLBACK_RECEIVE:
        return take_message_part(server, connection, {static_cast<const char*>(data), size});
    case LWS_CALLBACK_WS_PEER_INITIATED_CLOSE:
    case LWS_CALLBACK_CLOSED:
        leave_hub(server, connection);
        return 0;
    default:
        return 0;
    }
}

} // namespace panel
