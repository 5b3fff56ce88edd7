#include "control/server_client.h"

#include "apps/app_request.h"
#include "apps/messages.h"
#include "apps/server_link.h"
#include "control/control_server.h"
#include "core/log.h"
#include "core/log_senders.h"
#include "core/statistics.h"
#include "core/text.h"
#include "core/threads.h"

#include <array>
#include <cJSON.h>
#include <memory>
#include <span>

namespace fieldrelaybox {

namespace {

constexpr std::int64_t link_pause_us = 5'000;
constexpr std::size_t link_datagram_capacity = 131'200;

// A missing id is 0: not authenticated.
void take_answer(Bytes datagram, const sockaddr_in& sender) {
    const std::unique_ptr<cJSON, void (*)(cJSON*)> object(
        cJSON_ParseWithLength(reinterpret_cast<const char*>(datagram.data()), datagram.size()),
        cJSON_Delete);
    if (object == nullptr || text_member(object.get(), "cmd") != "authok")
        return;
    const std::int32_t id = parse_decimal(text_member(object.get(), "id").value_or("").c_str());
    if (take_server_client_id(static_cast<std::uint32_t>(id), sender))
        log_line("client id %d", id);
}

void receive_step(int socket, std::span<std::uint8_t> buffer) {
    sockaddr_in sender{};
    const auto datagram =
        receive_from({socket, statistics().server_in, link_pause_us}, buffer, &sender);
    if (datagram && !datagram->empty())
        handle_server_datagram(*datagram, sender);
}

} // namespace

void handle_server_datagram(Bytes datagram, const sockaddr_in& sender) {
    set_log_sender(sender.sin_addr.s_addr);
    if (datagram[0] == '{')
        take_answer(datagram, sender);
    else if (datagram[0] == 'B' && datagram.size() >= message_header_size &&
             is_server_endpoint(sender)) // the port faces everybody
        handle_control_message(datagram.subspan(message_header_size), endpoint_of(sender));
}

void init_server_client() {
    start_service("server", [socket = open_server_link()] {
        static std::array<std::uint8_t, link_datagram_capacity> buffer;
        while (true)
            run_guarded("server", [&] { receive_step(socket, buffer); });
    });
}

} // namespace fieldrelaybox
