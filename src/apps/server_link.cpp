#include "apps/server_link.h"

#include "config/config_record.h"
#include "core/log.h"
#include "core/statistics.h"
#include "core/text.h"

#include <arpa/inet.h>
#include <array>
#include <atomic>
#include <cerrno>
#include <mutex>
#include <optional>
#include <string>
#include <sys/socket.h>
#include <sys/uio.h>

namespace fieldrelaybox {

namespace {

constexpr int socket_buffer_bytes = 300'000;

// No port of its own: the system chooses one at the first send.
std::atomic<int> server_socket{-1};

// The server's address in one word, so that every sender of media reads it without a lock: address
// and port as on the wire, and whether it is known and usable.
enum class AddressState : std::uint8_t { unknown, unusable, usable };

constexpr std::uint64_t pack(AddressState state, in_addr address, std::uint16_t port) {
    return static_cast<std::uint64_t>(state) << 48 | static_cast<std::uint64_t>(port) << 32 |
           address.s_addr;
}

constexpr std::uint64_t unknown_address = pack(AddressState::unknown, {}, 0);
constexpr std::uint64_t unusable_address = pack(AddressState::unusable, {}, 0);

// Held while the address is made from the settings, and where the address and something else of the
// settings must belong together.
std::mutex address_mutex;
std::atomic<std::uint64_t> server_address{unknown_address};

// Host names are not resolved. A host that is no address cannot be sent to.
std::uint64_t convert_address() {
    const std::int32_t port = load(config_record().server_port);
    const std::string host = load_text(config_record().server_host);
    in_addr address{};
    if (port < 1 || port > 65535 || inet_aton(host.c_str(), &address) == 0)
        return unusable_address;
    return pack(AddressState::usable, address, htons(static_cast<std::uint16_t>(port)));
}

std::optional<sockaddr_in> unpack(std::uint64_t packed) {
    if (packed >> 48 != static_cast<std::uint64_t>(AddressState::usable))
        return std::nullopt;
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = static_cast<std::uint16_t>(packed >> 32 & 0xFFFF);
    result.sin_addr.s_addr = static_cast<std::uint32_t>(packed & 0xFFFFFFFF);
    return result;
}

// address_mutex is held.
std::optional<sockaddr_in> current_address() {
    std::uint64_t packed = server_address.load(std::memory_order_acquire);
    if (packed == unknown_address) {
        packed = convert_address();
        server_address.store(packed, std::memory_order_release);
    }
    return unpack(packed);
}

std::optional<sockaddr_in> usable_address() {
    const std::uint64_t packed = server_address.load(std::memory_order_acquire);
    if (packed != unknown_address)
        return unpack(packed);
    const std::lock_guard lock(address_mutex);
    return current_address();
}

bool is_same(const std::optional<sockaddr_in>& server, const sockaddr_in& address) {
    return server && is_same_address(*server, address);
}

// Never waits: a full queue towards the server must not hold up the media of all others.
ssize_t send_to_server(const std::optional<sockaddr_in>& address, Bytes header, Bytes payload) {
    if (!address) {
        errno = EDESTADDRREQ;
        count_unsent(statistics().server_out);
        return -1;
    }
    std::array<iovec, 2> parts{{{const_cast<std::uint8_t*>(header.data()), header.size()},
                                {const_cast<std::uint8_t*>(payload.data()), payload.size()}}};
    msghdr message{};
    message.msg_name = const_cast<sockaddr_in*>(&*address);
    message.msg_namelen = sizeof *address;
    message.msg_iov = parts.data();
    message.msg_iovlen = parts.size();
    const ssize_t sent =
        sendmsg(server_socket.load(std::memory_order_relaxed), &message, MSG_DONTWAIT);
    count_sent(statistics().server_out, sent);
    return sent;
}

void send_text(const std::optional<sockaddr_in>& address, const std::string& text) {
    send_to_server(address, {}, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

// The credentials go to the server that they were set for.
void authenticate() {
    ConfigRecord record{};
    std::optional<sockaddr_in> address;
    {
        const std::lock_guard lock(address_mutex);
        copy_config_record(record);
        address = current_address();
    }
    send_text(address, R"({"cmd":"auth","type":"0","user":")" +
                           std::string(text_of(record.server_user)) + R"(","pass":")" +
                           std::string(text_of(record.server_pass)) + R"(","devid":")" +
                           std::string(text_of(record.server_devid)) + R"("})");
}

} // namespace

int open_server_link() {
    log_line("Init P2P client");
    const int socket = open_udp_socket();
    set_socket_buffers(socket, socket_buffer_bytes, socket_buffer_bytes);
    server_socket.store(socket, std::memory_order_relaxed);
    return socket;
}

bool take_server_client_id(std::uint32_t id, const sockaddr_in& sender) {
    const std::lock_guard lock(address_mutex);
    if (!is_same(current_address(), sender))
        return false;
    store(config_record().server_client_id, id);
    return true;
}

void server_keepalive() {
    const ConfigRecord& record = config_record();
    if (load(record.server_enabled) == 0 || load(record.server_port) == 0)
        return;
    const std::uint32_t id = load(record.server_client_id);
    if (id == 0)
        authenticate();
    else
        send_text(usable_address(), R"({"cmd":"alive","id":")" +
                                        std::to_string(static_cast<std::int32_t>(id)) + R"("})");
}

ssize_t send_through_server(Bytes header, Bytes payload) {
    return send_to_server(usable_address(), header, payload);
}

bool is_server_endpoint(const sockaddr_in& address) {
    return is_same(usable_address(), address);
}

void server_settings_changing() {
    const std::lock_guard lock(address_mutex);
    server_address.store(unusable_address, std::memory_order_release);
}

void server_settings_changed() {
    // A conversion under way has read the old settings; it must not win.
    const std::lock_guard lock(address_mutex);
    server_address.store(unknown_address, std::memory_order_release);
    // An answer may have come meanwhile.
    store<std::uint32_t>(config_record().server_client_id, 0);
}

} // namespace fieldrelaybox
