// What comes to the panel, from the box and from browsers. The first byte of the input chooses the
// entrance, the rest is what arrives there. Whatever it is, nothing grows beyond its bound, what
// moves is stopped in the end, and the next browser is served. run.sh feeds it.
#include "core/sockets.h"
#include "panel/hub.h"
#include "panel/origin.h"
#include "panel/password_texts.h"
#include "panel/requests.h"
#include "panel/sessions.h"
#include "panel/times.h"
#include "panel/web_server.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <netinet/in.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>
#include <variant>
#include <vector>

namespace {

using namespace panel;
using fieldrelaybox::Bytes;

void require(bool holds) {
    if (!holds)
        std::abort();
}

std::string_view text_of(Bytes bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// The first so many bytes of rest, taken away from it.
Bytes take_bytes(Bytes& rest, std::size_t count) {
    const Bytes taken = rest.first(std::min(count, rest.size()));
    rest = rest.subspan(taken.size());
    return taken;
}

std::size_t take_number(Bytes& rest) {
    const Bytes taken = take_bytes(rest, 1);
    return taken.empty() ? 0 : taken[0];
}

constexpr std::int64_t begin_us = 1000 * second_us;

// A hub with two browsers: one reads, one does not. The box is played by the input alone.
struct Scene {
    Hub hub;
    std::int64_t now_us = begin_us;
    sockaddr_in box = fieldrelaybox::ipv4_address(fieldrelaybox::loopback_address, 9);
    std::uint32_t number = 0xFFFFFFF0; // soon begins anew
    std::array<BrowserId, 2> browsers{};
};

void check_bounds(const Scene& scene) {
    const Hub& hub = scene.hub;
    require(hub.collector.access_unit.size() <= largest_picture);
    require(hub.recent.bytes <= kept_picture_bytes && hub.link.found.size() <= most_found);
    for (const auto& [id, browser] : hub.browsers)
        require(browser.outbox.status_bytes + browser.outbox.media_bytes <= outbox_bytes);
}

void send_from_box(Scene& scene, std::uint8_t kind, std::uint32_t number, Bytes payload) {
    std::vector<std::uint8_t> datagram(message_header_size, 0);
    datagram[0] = 'B';
    datagram[1] = kind;
    fieldrelaybox::put_u32le(&datagram[4], number);
    datagram.insert(datagram.end(), payload.begin(), payload.end());
    scene.hub.now_us = scene.now_us;
    take_datagram(scene.hub.link, datagram, scene.box, scene.now_us);
}

using Act = void (*)(Scene& scene, Bytes bytes);

void send_message(Scene& scene, Bytes bytes) {
    const std::size_t kind = take_number(bytes);
    send_from_box(scene, static_cast<std::uint8_t>(kind % 4), scene.number++, bytes);
}

void send_video(Scene& scene, Bytes bytes) {
    std::vector<std::uint8_t> datagram{0, 0, 1};
    datagram.insert(datagram.end(), bytes.begin(), bytes.end());
    send_from_box(scene, 1, scene.number++, datagram);
}

// Lost before it, swapped with the next, doubled, or of a box that began anew.
void send_out_of_turn(Scene& scene, Bytes bytes) {
    const std::size_t way = take_number(bytes);
    const std::uint32_t ahead = way < 200 ? static_cast<std::uint32_t>(way % 12) : 70'000;
    send_from_box(scene, 1, scene.number + ahead, bytes);
    scene.number += static_cast<std::uint32_t>(way % 3);
}

void send_raw(Scene& scene, Bytes bytes) {
    const std::size_t from = take_number(bytes);
    const sockaddr_in sender = fieldrelaybox::ipv4_address(
        fieldrelaybox::loopback_address + static_cast<std::uint32_t>(from / 2), 9);
    scene.hub.now_us = scene.now_us;
    take_datagram(scene.hub.link, bytes, from % 2 == 0 ? scene.box : sender, scene.now_us);
}

void speak(Scene& scene, Bytes bytes) {
    const std::size_t browser = take_number(bytes) % scene.browsers.size();
    take_request(scene.hub, scene.browsers.at(browser), text_of(bytes), scene.now_us);
}

void let_pass(Scene& scene, std::int64_t microseconds) {
    const std::int64_t end = scene.now_us + microseconds;
    for (; due_us(scene.hub) < end; pass_time(scene.hub, scene.now_us))
        scene.now_us = std::max(scene.now_us + 1, due_us(scene.hub));
    scene.now_us = end;
}

// Tenths of a second each, a minute in all: longer scenes only take longer.
void let_time_pass(Scene& scene, Bytes bytes) {
    for (const std::uint8_t tenths : bytes)
        if (scene.now_us < begin_us + 60 * second_us)
            let_pass(scene, tenths * std::int64_t{100'000});
}

void read_some(Scene& scene, Bytes /*bytes*/) {
    while (const SharedMessage message = next_message(scene.hub, scene.browsers[0]))
        require(!bytes_of(*message).empty());
}

void come_anew(Scene& scene, Bytes bytes) {
    BrowserId& browser = scene.browsers.at(take_number(bytes) % scene.browsers.size());
    remove_browser(scene.hub, browser, scene.now_us);
    browser = add_browser(scene.hub, scene.now_us);
}

constexpr std::array<Act, 8> acts{send_message, send_video,    send_out_of_turn, send_raw,
                                  speak,        let_time_pass, read_some,        come_anew};

void check_that_all_stops(Scene& scene) {
    for (const BrowserId browser : scene.browsers)
        remove_browser(scene.hub, browser, scene.now_us);
    require(holder_of(scene.hub.holds, Held::gimbal) == 0);
    require(holder_of(scene.hub.holds, Held::zoom) == 0);
    let_pass(scene, 20 * second_us);
    require(due_us(scene.hub.holds) == never_us && due_us(scene.hub.collector) == never_us);
    require(!scene.hub.link.wants_media);
}

// Acts of the box, the browsers and the clock, each with as many bytes as its second byte says.
void play_scene(Bytes bytes) {
    auto scene = std::make_unique<Scene>();
    const bool is_named = take_number(bytes) % 4 != 0;
    require(open_hub(scene->hub, is_named ? "127.0.0.1:9" : ""));
    close(std::exchange(scene->hub.link.socket, -1)); // nothing leaves the process
    for (BrowserId& browser : scene->browsers)
        browser = add_browser(scene->hub, scene->now_us);
    for (const BrowserId browser : scene->browsers)
        take_request(scene->hub, browser, R"({"watch":true,"sound":true})", scene->now_us);
    while (!bytes.empty()) {
        const std::size_t act = take_number(bytes);
        const std::size_t size = take_number(bytes);
        acts.at(act % acts.size())(*scene, take_bytes(bytes, size));
        check_bounds(*scene);
    }
    check_that_all_stops(*scene);
    close_hub(scene->hub, scene->now_us);
}

// All that is read out of a text, each part without the others.
void read_texts(Bytes bytes) {
    const std::string_view text = text_of(bytes);
    const std::string_view first = text.substr(0, text.find('\n'));
    const std::string_view rest = text.substr(std::min(first.size() + 1, text.size()));
    if (const auto request = parse_request(text))
        if (const auto* hold_request = std::get_if<HoldRequest>(&*request))
            require(std::abs(hold_request->motion.a) <= 1000 &&
                    std::abs(hold_request->motion.b) <= 1000);
    const std::array<std::string, 1> names{"box.example"};
    if (is_own_host(first, names) && is_own_origin(rest, first, false))
        require(rest.size() >= first.size() + std::string_view("http://").size());
    Sessions sessions;
    begin_session(sessions, 0);
    require(find_session(sessions, text, 0).empty()); // nobody guesses it
    if (const auto name = parse_box_name(text))
        require(name->port != 0 && text.starts_with(name->host));
    is_key_picture(bytes);
    if (const auto password = password_in(text))
        require(password->size() < text.size());
    if (const auto password = password_of(text))
        require(password->size() < text.size());
}

// The real server on a loopback port, without its own loop.
struct Stage {
    Options options;
    Hub hub;
    WebServer server;
    sockaddr_in address{};
};

void open_listening_socket(Stage& stage) {
    stage.server.listener.socket = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    const int listening = stage.server.listener.socket;
    stage.address = fieldrelaybox::ipv4_address(fieldrelaybox::loopback_address, 0);
    socklen_t size = sizeof stage.address;
    auto* const address = reinterpret_cast<sockaddr*>(&stage.address);
    require(bind(listening, address, size) == 0 && listen(listening, 64) == 0);
    require(getsockname(listening, address, &size) == 0);
}

Stage& stage() {
    static Stage* const result = [] {
        auto* fresh = new Stage;
        require(open_hub(fresh->hub, "127.0.0.1:9"));
        fresh->server.options = fresh->server.site.options = &fresh->options;
        fresh->server.hub = fresh->server.site.hub = &fresh->hub;
        fresh->server.site.count_connections = [] { return std::size_t{1}; };
        fresh->server.site.files.by_path["/"] = {
            "text/html", std::make_shared<const std::string>("page"), nullptr, "\"tag\""};
        open_listening_socket(*fresh);
        require(start_library(fresh->server));
        start_timers(fresh->server);
        return fresh;
    }();
    return *result;
}

// Closed without a farewell, so that no port stays taken.
struct Visitor {
    int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    Visitor() {
        const linger abrupt{.l_onoff = 1, .l_linger = 0};
        setsockopt(socket, SOL_SOCKET, SO_LINGER, &abrupt, sizeof abrupt);
        const sockaddr_in& address = stage().address;
        require(connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0);
        stage().server.site.requests = {}; // here they may come as fast as they do
        accept_browsers(stage().server);
    }
    ~Visitor() {
        close(socket);
        for (int i = 0; i < 100 && !stage().server.connections.list.empty(); ++i)
            lws_service(stage().server.context, -1);
        require(stage().server.connections.list.empty() && stage().hub.browsers.empty());
    }
    Visitor(const Visitor&) = delete;
    Visitor& operator=(const Visitor&) = delete;
    Visitor(Visitor&&) = delete;
    Visitor& operator=(Visitor&&) = delete;
};

void send_to_server(const Visitor& visitor, std::string_view text) {
    send(visitor.socket, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    for (int i = 0; i < 10; ++i)
        lws_service(stage().server.context, -1);
}

// What the server said; empty when nothing is there.
std::string heard_by(const Visitor& visitor) {
    std::array<char, 16'384> buffer{};
    const ssize_t size = recv(visitor.socket, buffer.data(), buffer.size(), MSG_DONTWAIT);
    return {buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
}

void check_that_next_is_served() {
    const Visitor next;
    send_to_server(next, "GET / HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n");
    require(heard_by(next).starts_with("HTTP/1.1 200 "));
}

// In pieces, as long as their first byte says.
void send_pieces(const Visitor& visitor, Bytes bytes) {
    while (!bytes.empty()) {
        const std::size_t size = 8 * take_number(bytes);
        send_to_server(visitor, text_of(take_bytes(bytes, size)));
    }
}

void visit(Bytes bytes) {
    {
        const Visitor visitor;
        send_pieces(visitor, bytes);
    }
    check_that_next_is_served();
}

// Frames behind a handshake that is right.
void visit_live(Bytes bytes) {
    {
        const Visitor visitor;
        send_to_server(visitor, "GET /live HTTP/1.1\r\nHost: localhost\r\n"
                                "Origin: http://localhost\r\nConnection: Upgrade\r\n"
                                "Upgrade: websocket\r\nSec-WebSocket-Version: 13\r\n"
                                "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n");
        require(heard_by(visitor).starts_with("HTTP/1.1 101 "));
        send_pieces(visitor, bytes);
    }
    check_that_next_is_served();
}

using Entrance = void (*)(Bytes bytes);

// make_panel_corpus.py knows the order.
constexpr std::array<Entrance, 4> entrances{play_scene, read_texts, visit, visit_live};

} // namespace

// The fuzzer's own name.
// NOLINTNEXTLINE(readability-identifier-naming)
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > 0)
        entrances.at(data[0] % entrances.size())(Bytes(data + 1, size - 1));
    return 0;
}
