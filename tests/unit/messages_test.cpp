// Messages to the apps: their bytes, who gets which, and threads that post at the same time.
#include "apps/app_clients.h"
#include "apps/messages.h"
#include "config/config_record.h"
#include "core/shared_access.h"
#include "unit/test_clock.h"
#include "unit/test_data.h"

#include <cerrno>
#include <set>
#include <sys/syscall.h>
#include <thread>

using namespace fieldrelaybox;
using namespace test_data;

namespace {
std::function<void()> before_send;            // once, in the middle of posting a message
std::function<int(const msghdr&)> refusal_of; // errno, or 0 for a message that can be sent
} // namespace

// In place of the C library's.
extern "C" int sendmmsg(int socket, mmsghdr* messages, unsigned count, int flags) {
    if (before_send)
        std::exchange(before_send, nullptr)();
    for (unsigned i = 0; refusal_of && i < count; ++i) {
        if (const int error = refusal_of(messages[i].msg_hdr); error != 0) {
            count = i;
            errno = error;
        }
    }
    return count == 0 ? -1
                      : static_cast<int>(syscall(SYS_sendmmsg, socket, messages, count, flags));
}

namespace {

constexpr std::size_t sequence_offset = 4;
constexpr std::uint32_t broadcast_address = 0xFFFFFFFF; // no socket of ours may send there

struct Messages : testing::Test {
    Messages() { set_message_socket(box.socket()); }
    Receiver box;
};

void add_app(const sockaddr_in& address, bool data_only = false) {
    add_app_client(endpoint_of(address), data_only, 0);
}

std::uint32_t sequence_of(const std::string& message) {
    return get_u32le(&from_hex(message).at(sequence_offset));
}

// hex with another sequence number.
std::string with_sequence(const std::string& hex, std::uint32_t sequence) {
    ByteVector bytes = from_hex(hex);
    put_u32le(&bytes.at(sequence_offset), sequence);
    return to_hex(bytes);
}

TEST_F(Messages, equal_the_expected_bytes_but_for_the_number_that_counts_on) {
    const Receiver app;
    add_app(app.address());
    post_message({}, MessageKind::status);
    std::uint32_t sequence = sequence_of(app.take().at(0));

    const Json data = load_json("app_records.json");
    for (const cJSON* item : items_of(member(data.get(), "headers"))) {
        const auto id = static_cast<std::uint32_t>(member(item, "client_id")->valuedouble);
        store(config_record().server_client_id, id);
        post_message(from_hex("0165aabb"), static_cast<MessageKind>(number(item, "kind")));
        EXPECT_EQ(app.take(),
                  std::vector{with_sequence(text(item, "header"), ++sequence) + "0165aabb"});
    }
    store<std::uint32_t>(config_record().server_client_id, 0);
    const std::string version =
        text(cJSON_GetArrayItem(member(data.get(), "messages"), 0), "message");
    post_status_bytes(RecordCode::version, {0, 20, 2});
    EXPECT_EQ(app.take(), std::vector{with_sequence(version, ++sequence)});
    post_status_words(RecordCode::focus_position, 0x0102, -2, -32768);
    EXPECT_EQ(app.take().at(0).substr(2 * message_header_size), "0c0201feff0080");
}

TEST_F(Messages, reach_the_apps_behind_one_that_cannot_be_reached) {
    const sockaddr_in unreachable = ipv4_address(broadcast_address, 9);
    const sockaddr_in unreachable_too = ipv4_address(broadcast_address, 10);
    const std::array<Receiver, 3> apps;
    // Nobody listens on the port of this one any more.
    const sockaddr_in closed = Receiver().address();
    for (const sockaddr_in& address : {unreachable, apps[0].address(), closed, unreachable_too,
                                       ipv4_address(broadcast_address, 11), apps[1].address(),
                                       apps[2].address(), ipv4_address(broadcast_address, 12)})
        add_app(address);
    for (int round = 0; round < 3; ++round) {
        post_message(from_hex("aabb"), MessageKind::video);
        for (const Receiver& app : apps)
            EXPECT_EQ(app.take().size(), 1U);
    }
}

TEST_F(Messages, go_one_by_one_and_for_10_s_to_whoever_refuses_segments) {
    const std::array<Receiver, 3> apps;
    for (const Receiver& app : apps)
        add_app(app.address());
    std::array<std::array<std::uint8_t, header_room + 5>, 3> room{};
    std::array<iovec, 3> run;
    for (std::size_t i = 0; i < run.size(); ++i)
        run[i] = {&room[i][header_room], 5};
    // Each time twice: one call stops in front of the refused message, the next one begins with it.
    for (const auto& [error, asked_in_10_s] : {std::pair{EIO, 2}, {EMSGSIZE, 2}, {EAGAIN, 6}}) {
        int asked = 0;
        refusal_of = [&, error = error](const msghdr& message) {
            const bool refused =
                message.msg_controllen > 0 &&
                is_same_address(*static_cast<sockaddr_in*>(message.msg_name), apps[1].address());
            asked += refused ? 1 : 0;
            return refused ? error : 0;
        };
        for (int burst = 0; burst < 3; ++burst)
            post_run(run, MessageKind::video);
        EXPECT_EQ(asked, asked_in_10_s);
        test_clock::begin_next_day();
        post_run(run, MessageKind::video);
        EXPECT_EQ(asked, asked_in_10_s + 2);
        refusal_of = nullptr;
        test_clock::begin_next_day();
        const std::vector<std::string> sent = apps[0].take();
        ASSERT_EQ(sent.size(), 12U);
        EXPECT_TRUE(std::ranges::is_sorted(sent, {}, sequence_of));
        EXPECT_EQ(apps[1].take(), sent);
        EXPECT_EQ(apps[2].take(), sent);
    }
}

TEST_F(Messages, of_status_are_dropped_while_media_is_being_sent_and_go_out_again_after) {
    const Receiver app;
    add_app(app.address());
    for (const MessageKind kind : {MessageKind::video, MessageKind::audio}) {
        before_send = [] { post_status_bytes(RecordCode::version, {}); };
        post_message(from_hex("aabb"), kind);
        const std::vector<std::string> sent = app.take();
        ASSERT_EQ(sent.size(), 1U);
        EXPECT_EQ(from_hex(sent[0])[1], static_cast<std::uint8_t>(kind));
        post_status_bytes(RecordCode::version, {});
        EXPECT_EQ(sequence_of(app.take().at(0)), sequence_of(sent[0]) + 1);
    }
}

TEST_F(Messages, of_two_threads_never_mix_and_never_share_a_number) {
    constexpr int rounds = 25;
    constexpr std::size_t messages = 40; // of each thread; a receive buffer holds two rounds' worth
    const Receiver app;
    add_app(app.address());
    std::set<std::uint32_t> numbers;
    for (int round = 0; round < rounds; ++round) {
        const auto post = [](MessageKind kind) {
            const ByteVector payload(kind == MessageKind::video ? 600 : 300,
                                     static_cast<std::uint8_t>(kind));
            for (std::size_t i = 0; i < messages; ++i)
                post_message(payload, kind);
        };
        std::thread video(post, MessageKind::video);
        post(MessageKind::audio);
        video.join();
        std::array<std::size_t, 3> counts{};
        for (const std::string& message : app.take()) {
            const ByteVector bytes = from_hex(message);
            const std::uint8_t kind = bytes.at(1);
            ASSERT_EQ(bytes.size(), message_header_size + (kind == 1 ? 600 : 300));
            ASSERT_EQ(ByteVector(bytes.begin() + message_header_size, bytes.end()),
                      ByteVector(bytes.size() - message_header_size, kind));
            ++counts.at(kind);
            numbers.insert(sequence_of(message));
        }
        ASSERT_EQ(counts, (std::array<std::size_t, 3>{0, messages, messages}));
    }
    EXPECT_EQ(numbers.size(), 2 * messages * rounds);
    EXPECT_EQ(*numbers.rbegin() - *numbers.begin(), numbers.size() - 1);
}

} // namespace
