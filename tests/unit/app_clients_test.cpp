// The table of registered apps, the list of raw-UDP clients and the pauses between them.
#include "apps/app_clients.h"
#include "config/config_record.h"
#include "core/status_block.h"
#include "media/relay.h"
#include "media/udp_clients.h"
#include "unit/test_clock.h"
#include "unit/test_data.h"

#include <thread>

using namespace fieldrelaybox;

namespace {

Endpoint app(std::uint16_t port, std::uint32_t address = 0xC0000201) {
    return endpoint_of(ipv4_address(address, port));
}

TEST(AppClients, registers_refreshes_and_sweeps_while_the_clock_grows_beyond_32_bits) {
    constexpr std::int64_t start = 0xFFFFF000; // 4.096 s before
    EXPECT_EQ(add_app_client(app(1000), false, start), 1);
    EXPECT_EQ(add_app_client(app(1001), true, start), 1);
    EXPECT_EQ(add_app_client(app(1000, 0xC0000202), false, start + 1), 1);
    EXPECT_EQ(add_app_client(app(1000), true, start + 3000), 0);
    EXPECT_TRUE(app_client_targets().entries[0].data_only);

    sweep_app_clients(start + 5000);
    EXPECT_EQ(status_block().app_client_count, 3);
    sweep_app_clients(start + 5001);
    EXPECT_EQ(status_block().app_client_count, 2);
    // The free entry is taken before those behind it.
    EXPECT_EQ(add_app_client(app(1002), false, start), 1);
    EXPECT_EQ(ntohs(app_client_targets().entries[1].address.sin_port), 1002);
    EXPECT_EQ(remove_app_client(app(1000, 0xC0000202)), 1);
    EXPECT_EQ(remove_app_client(app(1000, 0xC0000202)), 0);
    EXPECT_EQ(app_client_targets().count, 2U);
}

TEST(UdpClients, takes_ten_whole_items_and_skips_the_rest) {
    testing::internal::CaptureStderr();
    parse_udp_clients("192.0.2.1:5000,,host:1,192.0.2.2:0,192.0.2.2:65535,192.0.2.2:65534,"
                      "192.0.2.3:80x,192.0.2.4,192.0.2.5:-1, 192.0.2.6:7");
    const UdpClients& clients = udp_clients();
    ASSERT_EQ(clients.count, 2U);
    EXPECT_EQ(endpoint_of(clients.entries[0].video).port, 5000);
    EXPECT_EQ(endpoint_of(clients.entries[1].audio).port, 65535);
    EXPECT_STREQ(endpoint_of(clients.entries[1].audio).address_text.data(), "192.0.2.2");
    const std::string skipped = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(skipped.begin(), skipped.end(), '\n'), 8);

    std::string many;
    for (int i = 1; i <= 12; ++i)
        many += "192.0.2.1:" + std::to_string(i) + ",";
    parse_udp_clients(many);
    EXPECT_EQ(udp_clients().count, udp_client_capacity);
    parse_udp_clients("");
    EXPECT_EQ(udp_clients().count, 0U);
}

TEST(UdpClients, readers_see_whole_lists_while_another_thread_replaces_them) {
    std::thread writer([] {
        for (int i = 0; i < 2000; ++i)
            parse_udp_clients(i % 2 == 0 ? "192.0.2.1:1,192.0.2.1:1" : "192.0.2.2:2");
    });
    for (int i = 0; i < 20000; ++i) {
        const UdpClients& clients = udp_clients();
        for (std::size_t k = 0; k < clients.count; ++k)
            ASSERT_EQ(endpoint_of(clients.entries[k].video).port, clients.count == 2 ? 1 : 2);
    }
    writer.join();
}

TEST(UdpClients, get_a_pause_of_5_us_behind_each) {
    [[maybe_unused]] static const bool opened = (init_video_bridge(), true);
    const std::array<test_data::Receiver, 2> clients;
    std::string list;
    for (const auto& client : clients)
        list += "127.0.0.1:" + std::to_string(ntohs(client.address().sin_port)) + ',';
    parse_udp_clients(list);
    config_record().udp_enabled = 1;
    std::string got; // by the clients before each pause
    test_clock::on_wait = [&] {
        for (const auto& client : clients)
            got += std::to_string(client.take().size());
        got += ' ';
    };
    std::vector<std::uint8_t> datagram(9000, 0xEE);
    const iovec video{datagram.data() + header_room, 8000};
    const std::array<iovec, 2> burst{video, video};
    EXPECT_EQ(relay_transcoded_video(burst), 1U); // no run: a pause belongs behind each
    EXPECT_EQ(got, "10 01 ");
    relay_audio(datagram);
    EXPECT_EQ(test_clock::take_waits(), std::vector<std::int64_t>(4, 5));
}

} // namespace
