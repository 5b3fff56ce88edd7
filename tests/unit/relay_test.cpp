// The relay's sends: they never wait, and there is a pause behind each raw-UDP client.
#include "config/config_record.h"
#include "media/relay.h"
#include "media/udp_clients.h"
#include "unit/full_stream.h"
#include "unit/test_clock.h"

#include <set>

using namespace fieldrelaybox;
using namespace test_data;

namespace {

std::set<int> open_descriptors() {
    std::set<int> descriptors;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
        descriptors.insert(std::stoi(entry.path().filename()));
    return descriptors;
}

const ByteVector datagram(9000, 0xEE);

struct Relay : testing::Test {
    Relay() {
        const std::set<int> before = open_descriptors();
        init_video_bridge();
        for (const int descriptor : open_descriptors()) {
            if (!before.contains(descriptor))
                outputs.push_back(descriptor);
        }
        ConfigRecord& record = config_record();
        record.udp_enabled = record.rtmp_enabled = record.mpegts_enabled = record.tcp_enabled =
            record.rtsp_enabled = 1;
    }
    ~Relay() override {
        set_local_video(false);
        for (const int descriptor : outputs)
            close(descriptor);
    }

    std::vector<int> outputs;
};

TEST_F(Relay, never_waits_for_an_output_that_cannot_take_more) {
    const FullStream stream;
    stream.fill();
    for (const int descriptor : outputs)
        ASSERT_EQ(dup2(stream.sender, descriptor), descriptor);
    parse_udp_clients("192.0.2.1:7000");
    set_local_video(true);
    std::atomic<int> done{0};
    std::thread relay([&done] {
        for (void (*const send)(Bytes) :
             {relay_transcoded_video, relay_audio, send_to_local_player, relay_video}) {
            config_record().video_transcode_enabled = send == relay_video ? 1 : 0;
            send(datagram);
            ++done;
        }
    });
    EXPECT_TRUE(await([&done] { return done == 4; })) << done << " are done";
    stream.shut();
    relay.join();
}

TEST_F(Relay, pauses_5_us_behind_each_udp_client) {
    const std::array<Receiver, 2> clients;
    std::string list;
    for (const Receiver& client : clients)
        list += "127.0.0.1:" + std::to_string(ntohs(client.address().sin_port)) + ',';
    parse_udp_clients(list);
    std::string got; // by the clients before each pause
    test_clock::on_wait = [&] {
        for (const Receiver& client : clients)
            got += std::to_string(client.take().size());
        got += ' ';
    };
    relay_transcoded_video(datagram);
    EXPECT_EQ(got, "10 01 ");
    relay_audio(datagram);
    EXPECT_EQ(test_clock::take_waits(), std::vector<std::int64_t>(4, 5));
}

} // namespace
