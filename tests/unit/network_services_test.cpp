// The Wi-Fi helpers, the probe of the supervisor, and the link to the relay server.
#include "apps/app_clients.h"
#include "apps/messages.h"
#include "apps/server_link.h"
#include "config/config_record.h"
#include "control/app_commands.h"
#include "control/server_client.h"
#include "control/wifi.h"
#include "core/clock.h"
#include "core/threads.h"
#include "daemon/supervisor.h"
#include "unit/shell_recorder.h"
#include "unit/test_data.h"
#include "wlanstatus/link_report.h"

#include <atomic>
#include <chrono>
#include <future>
#include <new>
#include <thread>

using namespace fieldrelaybox;
using namespace test_data;
using Texts = std::vector<std::string>;

namespace {

constexpr const char* link_command = "./bin/wlanstatus wlan0";

TEST(Wifi, a_hanging_tool_costs_a_while_and_one_thread) {
    constexpr std::chrono::milliseconds patience{1};
    static int repetition = 0; // a report of the one before may still be on its way
    const std::string interface = "slow" + std::to_string(++repetition);
    shell_recorder::outputs["./bin/wlanstatus " + interface] = "{\"freq\":2412}\n";
    std::promise<void> release;
    const std::shared_future<void> released = release.get_future().share();
    shell_recorder::on_command = [released](const std::string&) { released.wait(); };
    const int threads_before = running_threads;
    LinkStatus status;
    query_link_status(interface, status, patience);
    query_link_status(interface, status, patience);
    EXPECT_EQ(status.frequency, 0);
    EXPECT_EQ(running_threads, threads_before + 1);
    release.set_value();
    query_link_status(interface, status); // the late report
    EXPECT_EQ(status.frequency, 2412);
}

TEST(Wifi, a_failed_query_does_not_end_all_later_ones) {
    shell_recorder::outputs[link_command] = "{\"freq\":2412}\n";
    shell_recorder::on_command = [](const std::string&) { throw std::bad_alloc(); };
    LinkStatus status;
    query_link_status("wlan0", status);
    shell_recorder::on_command = nullptr;
    EXPECT_EQ(status.frequency, 0);
    query_link_status("wlan0", status);
    EXPECT_EQ(status.frequency, 2412);
}

TEST(WlanStatus, prints_what_the_daemon_reads) {
    const ByteVector elements =
        from_hex("010182"
                 "0009" +
                 to_hex(Bytes(reinterpret_cast<const std::uint8_t*>("a\"\\\n\xC3\xA4xyz"), 9)) +
                 "0000"
                 "7f20");
    wlanstatus::Link link{wlanstatus::find_ssid(elements), 5180, -55};
    EXPECT_EQ(wlanstatus::format_report(link),
              "{\"ssid\":\"a\\\"\\\\?\xC3\xA4xyz\",\"freq\":5180}\n"
              "{\"quality\":55,\"quality_max\":70,\"signal\":-55}\n");
    EXPECT_EQ(wlanstatus::link_quality(-120), 0);
    EXPECT_EQ(wlanstatus::link_quality(-10), 70);
    EXPECT_EQ(wlanstatus::find_ssid(Bytes(elements).first(8)), ""); // cut inside the name

    const wlanstatus::Link unknown_signal{"a", 2412, std::nullopt};
    EXPECT_EQ(wlanstatus::format_report(unknown_signal),
              "{\"ssid\":\"a\",\"freq\":2412}\n{\"quality_max\":70}\n");

    link.ssid = std::string(32, '"'); // the longest line
    shell_recorder::outputs[link_command] = wlanstatus::format_report(link);
    LinkStatus status;
    query_link_status("wlan0", status);
    EXPECT_EQ(status.ssid, link.ssid);
    EXPECT_EQ(status.signal, 201);
}

TEST(Wifi, station_ssid_is_the_last_ssid_line) {
    shell_recorder::outputs["wpa_cli -i wlan0 status 2>/dev/null"] =
        "bssid=02:00:00:00:01:00\nssid\nssid=First\nfreq=2412\nssid=" + std::string(60, 'x') +
        "\nbssid=1";
    EXPECT_EQ(station_ssid("wlan0"), std::string(39, 'x'));
    shell_recorder::outputs["wpa_cli -i wlan0 status 2>/dev/null"] = "ssid=Net\n";
    EXPECT_EQ(station_ssid("wlan0"), "Net\n");
    EXPECT_EQ(station_ssid("wlan1"), "");
}

TEST(Wifi, interfaces_are_those_of_the_system) {
    EXPECT_EQ(interface_address("lo"), "127.0.0.1");
    EXPECT_FALSE(interface_address("no_such_if").has_value());
    EXPECT_EQ(interface_list(5), "");
    const Json list(cJSON_Parse(('[' + interface_list() + ']').c_str()), cJSON_Delete);
    ASSERT_NE(list, nullptr);
    for (const cJSON* entry : items_of(list.get())) {
        in_addr address{};
        EXPECT_NE(text(entry, "name"), "lo");
        EXPECT_TRUE(parse_ipv4(text(entry, "addr"), address));
    }
}

TEST(Supervisor, probes_the_internet_on_every_tenth_pass) {
    Supervisor supervisor{};
    std::vector<int> probes;
    for (int pass = 0; pass <= 30; ++pass) {
        run_supervisor_pass(supervisor);
        for (const std::string& command : shell_recorder::take_commands()) {
            if (command.starts_with("ping "))
                probes.push_back(pass);
        }
    }
    EXPECT_EQ(probes, (std::vector{0, 10, 20, 30}));
}

TEST(Supervisor, posts_what_the_status_program_tells) {
    const Receiver box;
    const Receiver app;
    set_message_socket(box.socket());
    store_text(config_record().camera_iface, "wlan0");
    Supervisor supervisor{};
    const Json data = load_json("app_records.json");
    for (const cJSON* item : items_of(member(data.get(), "code9"))) {
        SCOPED_TRACE(text(item, "note"));
        std::string& output = shell_recorder::outputs[link_command] = "";
        for (const std::string& line : texts_of(member(item, "wlanstatus_lines")))
            output += line + '\n';
        add_app_client(endpoint_of(app.address()), true, timer_clock());
        run_supervisor_pass(supervisor);
        Texts records = app.take();
        std::erase_if(records, [](const std::string& record) {
            return record.substr(2 * message_header_size, 2) != "09";
        });
        ASSERT_EQ(records.size(), 1U);
        EXPECT_EQ(records[0].substr(2 * message_header_size), text(item, "payload"));
        EXPECT_EQ(to_hex({reinterpret_cast<const std::uint8_t*>(config_record().camera_link_ssid),
                          sizeof ConfigRecord::camera_link_ssid}),
                  text(item, "record_ssid_field_40"));
    }
}

// As an app does.
void change_server(const Receiver& server, const std::string& user, const std::string& password,
                   const std::string& device) {
    const std::string command =
        R"({"cmd":"updateparam","name":"server_connection","value":"127.000.0.1","value2":")" +
        std::to_string(ntohs(server.address().sin_port)) + R"(","value3":")" + user +
        R"(","value4":")" + password + R"(","value5":")" + device + R"(","value6":"1"})";
    dispatch_app_command(command.c_str(), command.size());
}

// The server's side of the link, over loopback.
class ServerLink : public testing::Test {
protected:
    static void SetUpTestSuite() { init_server_client(); }
    void SetUp() override { change_server(server_, "alice", "secret", "box-1"); }

    // The next text from the box; remembers where it came from.
    std::string next_text() {
        ByteVector buffer(65536);
        socklen_t size = sizeof box_;
        set_socket_timeouts(server_.socket(), 10'000);
        const ssize_t length = recvfrom(server_.socket(), buffer.data(), buffer.size(), 0,
                                        reinterpret_cast<sockaddr*>(&box_), &size);
        return {buffer.begin(), buffer.begin() + std::max<ssize_t>(length, 0)};
    }
    void answer(const std::string& text) {
        sendto(server_.socket(), text.data(), text.size(), 0, reinterpret_cast<sockaddr*>(&box_),
               sizeof box_);
    }

    Receiver server_;
    sockaddr_in box_{};
};

TEST_F(ServerLink, authenticates_stays_alive_and_relays) {
    const std::string auth =
        R"({"cmd":"auth","type":"0","user":"alice","pass":"secret","devid":"box-1"})";
    server_keepalive();
    EXPECT_EQ(next_text(), auth);
    for (const std::string& garbage :
         {std::string("{"), std::string(R"({"cmd":"other","id":"9"})"), std::string("B"),
          std::string(60'000, '{'), std::string("x"), std::string(11, 'B'),
          std::string(R"({"cmd":"authok","id":99})")})
        answer(garbage);
    answer(R"({"cmd":"authok","id":"17"})");
    ASSERT_TRUE(await([] { return load(config_record().server_client_id) == 17; }));
    server_keepalive();
    EXPECT_EQ(next_text(), R"({"cmd":"alive","id":"17"})");
    for (const std::string& example : {auth, std::string(R"({"cmd":"authok","id":"17"})"),
                                       std::string(R"({"cmd":"alive","id":"17"})")})
        expect_documented(to_hex(ByteVector(example.begin(), example.end())), "relay-protocol.md");

    // A relayed registration for status data only.
    answer(std::string("B") + std::string(12, '\0') + '\1');
    ASSERT_TRUE(await([] { return app_client_targets().count == 1; }));
    EXPECT_TRUE(app_client_targets().entries[0].is_server);
    post_message(Bytes{}, MessageKind::video);
    post_status_bytes(RecordCode::version, {0, 20, 2});
    const std::string message = next_text();
    EXPECT_EQ(message.substr(8), std::string("\x11\0\0\0\x0B\0\x14\2\0\0\0", 11));
    expect_documented(to_hex(ByteVector(message.begin(), message.end())).replace(8, 8, 8, '0'),
                      "relay-protocol.md");

    // Whoever sets the connection ends the link. Without an id nothing may be relayed; the next
    // pass asks for one.
    change_server(server_, "alice", "secret", "box-1");
    EXPECT_EQ(load(config_record().server_client_id), 0U);
    post_status_bytes(RecordCode::version, {0, 20, 2});
    server_keepalive();
    EXPECT_EQ(next_text(), auth);

    // The entry stands for the server only while the settings say so, and what the one of before
    // sends comes too late.
    store<std::int32_t>(config_record().server_port, 1);
    server_settings_changed();
    app_client_server_changed();
    EXPECT_FALSE(app_client_targets().entries[0].is_server);
    clear_app_clients();
    for (const std::string& late :
         {std::string(R"({"cmd":"authok","id":"18"})"), "B" + std::string(12, '\0')})
        handle_server_datagram(ByteVector(late.begin(), late.end()), server_.address());
    EXPECT_EQ(app_client_targets().count, 0U);
    EXPECT_EQ(load(config_record().server_client_id), 0U);
}

// An app moves the box between two servers while the supervisor authenticates all the time.
TEST_F(ServerLink, credentials_go_to_their_own_server_only) {
    struct Server {
        Receiver receiver;
        std::string credentials; // hexadecimal: "one", "two" in quotes
    };
    std::array<Server, 2> servers{};
    servers[0].credentials = "226f6e6522";
    servers[1].credentials = "2274776f22";
    std::atomic<bool> done{false};
    std::thread supervisor([&done] {
        while (!done)
            server_keepalive();
    });
    std::array<std::size_t, 2> received{};
    const auto both_received = [&] { return received[0] > 0 && received[1] > 0; };
    for (int round = 0; round < 200 || (round < 200'000 && !both_received()); ++round) {
        const char* name = round % 2 == 0 ? "one" : "two";
        change_server(servers[static_cast<std::size_t>(round % 2)].receiver, name, name, name);
        for (std::size_t i = 0; i < servers.size(); ++i) {
            for (const std::string& message : servers[i].receiver.take()) {
                EXPECT_NE(message.find(servers[i].credentials), std::string::npos) << message;
                ++received[i];
            }
        }
    }
    done = true;
    supervisor.join();
    EXPECT_TRUE(both_received());
}

TEST_F(ServerLink, sends_nothing_when_it_is_off_or_has_no_address) {
    store<std::uint8_t>(config_record().server_enabled, 0);
    server_keepalive();
    EXPECT_TRUE(server_.take().empty());
    store_text(config_record().server_host, "relay.example.org");
    server_settings_changed();
    EXPECT_EQ(send_through_server({}, {}), -1);
    store_text(config_record().server_host, "127.0.0.1");
    for (const std::int32_t port : {0, -1, 65536 + ntohs(server_.address().sin_port)}) {
        store(config_record().server_port, port);
        server_settings_changed();
        EXPECT_EQ(send_through_server({}, {}), -1) << port;
    }
    EXPECT_TRUE(server_.take().empty());
}

} // namespace
