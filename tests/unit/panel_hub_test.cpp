// Box, panel and browsers together: a socket plays the box, the test is the browsers.
#include "panel/hub.h"

#include "unit/played_box.h"

#include <set>

using namespace panel;

namespace {

using Texts = std::vector<std::string>;

const std::string report_request = R"({"cmd":"configrequest"})";
const std::string report = R"({"udp_en":1})";
const std::string stop = R"({"cmd":"position","param":"moverel","value1":"0","value2":"0"})";
const std::string gentle_turn =
    R"({"cmd":"position","param":"moverel","value1":"5","value2":"-6"})";
const std::string turn_request = R"({"hold":"gimbal","a":5,"b":-6})";

struct HeardBox : PlayedBox {
    std::uint32_t number = 0;
    bool all_kinds = false; // as the last registration wants it
    bool registered = false;

    void send(char kind, const std::string& payload) { say(box_message(kind, number++, payload)); }
    // The commands that came, in order.
    Texts commands() {
        Texts texts;
        for (std::string text = next(); text != "nothing came"; text = next()) {
            if (text[0] == '{')
                texts.push_back(text);
            registered = text[0] == '\0' || (registered && text[0] != '\1');
            all_kinds = text[0] == '\0' ? text[1] == '\0' : all_kinds;
        }
        return texts;
    }
};

struct PanelHub : testing::Test {
    HeardBox box;
    Hub hub;
    std::int64_t now = 1000 * second_us;
    std::set<BrowserId> away;

    void SetUp() override {
        hub.is_to_be_sent_away = [this](BrowserId id) { away.insert(id); };
        ASSERT_TRUE(open_hub(hub, box.name()));
        pass_time(hub, now);
        EXPECT_EQ(box.commands(), Texts{});
        ASSERT_TRUE(box.registered);
    }
    void TearDown() override { close_hub(hub, now); }
    void from_box(char kind, const std::string& payload) {
        box.send(kind, payload);
        take_from_box(hub, now);
    }
    void pass(std::int64_t time_us) {
        const std::int64_t end = now + time_us;
        for (now = std::max(now, due_us(hub)); now <= end; now = std::max(now + 1, due_us(hub)))
            pass_time(hub, now);
        now = end;
    }
    // Browsers that came, one after the other, with the box heard and the report there.
    std::vector<BrowserId> come(int count) {
        from_box(0, report);
        std::vector<BrowserId> ids;
        for (int i = 0; i < count; ++i)
            ids.push_back(add_browser(hub, now));
        for (const BrowserId id : ids)
            messages(id);
        box.commands();
        return ids;
    }
    void ask(BrowserId id, const std::string& text) { take_request(hub, id, text, now); }
    // What waits for it, each with its kind as a digit before.
    Texts messages(BrowserId id) {
        Texts texts;
        while (const SharedMessage next = next_message(hub, id)) {
            const fieldrelaybox::Bytes bytes = bytes_of(*next);
            texts.emplace_back(bytes.begin(), bytes.end());
            texts.back()[0] = static_cast<char>('0' + texts.back()[0]);
        }
        return texts;
    }
    Texts messages(BrowserId id, char kind) {
        Texts texts = messages(id);
        std::erase_if(texts, [kind](const std::string& text) { return text[0] != kind; });
        return texts;
    }
    // What the panel told it, without the state around.
    Texts told(BrowserId id) {
        Texts lines;
        for (const std::string& text : messages(id, '3'))
            if (const auto at = text.find(R"("told":")"); at != std::string::npos)
                lines.push_back(text.substr(at + 8, text.size() - at - 10));
        return lines;
    }
};

const std::string start_code("\0\0\0\1", 4);
const std::string key_picture =
    start_code + "\x67\x42\x1e" + start_code + "\x68\xce" + start_code + "\x65\x88\x80";
const std::string next_picture = start_code + "\x41\x9a\x02";

TEST_F(PanelHub, media_come_while_someone_looks_and_a_newcomer_gets_the_last_group) {
    const auto ids = come(3);
    EXPECT_FALSE(box.all_kinds);
    ask(ids[0], R"({"watch":true,"sound":true})");
    box.commands();
    EXPECT_TRUE(box.all_kinds);
    for (const std::string& picture : {next_picture, key_picture, next_picture, next_picture})
        from_box(1, picture);
    from_box(2, "\xff\xf1sound");
    pass(200'000); // the last picture ends by itself
    std::string kinds;
    for (const std::string& message : messages(ids[0]))
        if (message[0] != '3')
            kinds += message[0];
    EXPECT_EQ(kinds, "1121"); // in order; a decoder cannot begin with the first picture
    ask(ids[1], R"({"watch":true,"sound":false})");
    const Texts group = messages(ids[1], '1');
    ASSERT_EQ(group.size(), 3U);
    EXPECT_EQ(group[0].substr(10), key_picture);
    EXPECT_EQ(group[0][1] & picture_is_key, picture_is_key);
    EXPECT_EQ(group[2].substr(10), next_picture);
    EXPECT_EQ(messages(ids[2], '1'), Texts{});
    from_box(2, "\xff\xf1sound");
    EXPECT_EQ(messages(ids[1], '2'), Texts{});
    // A page that is loaded anew finds the pictures; when nobody comes back they end.
    remove_browser(hub, ids[0], now);
    ask(ids[1], R"({"watch":false,"sound":false})");
    pass(media_pause_us - second_us);
    ask(ids[2], R"({"watch":true,"sound":false})");
    EXPECT_EQ(messages(ids[2], '1').size(), 3U);
    ask(ids[2], R"({"watch":false,"sound":false})");
    pass(media_pause_us + second_us);
    box.commands();
    EXPECT_FALSE(box.all_kinds);
    ask(ids[2], R"({"watch":true,"sound":false})");
    EXPECT_EQ(messages(ids[2], '1'), Texts{}); // these would be of the past
}

TEST_F(PanelHub, records_and_replies_reach_everyone_and_newcomers_what_is_new) {
    const auto ids = come(2);
    const std::string battery("\1\x57\0\x51\x0f\x2e\xfb", 7), version("\x0b\0\x14\2\0\0\0", 7);
    from_box(0, version);
    pass(record_time_us - second_us);
    from_box(0, battery);
    from_box(0, "\x63" + std::string(longest_record, 'x'));
    const std::string scan = R"({"cmd":"wlanscan","param":"2","value":"a"b"})"; // as it may be
    from_box(0, scan);
    for (const BrowserId id : ids)
        EXPECT_EQ(messages(id, '0'), (Texts{"0" + version, "0" + battery, "0" + scan}));
    pass(second_us);
    EXPECT_EQ(messages(add_browser(hub, now), '0'), (Texts{"0" + report, "0" + battery}));
    // A report with a quote in a text goes on all the same, and the fault is told once.
    for (const char* invalid : {R"({"ap_ssid":"a"b"})", "{}garbage", R"({"ap_ssid":"a"b"})"})
        from_box(0, invalid);
    const Texts lines = told(ids[0]);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_NE(lines[0].find("damaged"), std::string::npos);
    EXPECT_EQ(messages(add_browser(hub, now), '0')[0], R"(0{"ap_ssid":"a"b"})");
}

TEST_F(PanelHub, the_report_is_asked_for_when_it_is_needed) {
    EXPECT_EQ(messages(add_browser(hub, now), '3').size(), 1U);
    EXPECT_EQ(box.commands(), Texts{report_request});
    from_box(0, report);
    pass(second_us);
    box.commands();
    const BrowserId id = add_browser(hub, now); // it is there, and new
    EXPECT_EQ(box.commands(), Texts{});
    for (int i = 0; i < 3; ++i) {
        ask(id, R"({"command":{"cmd":"updateparam","name":"udp_enabled","value":1}})");
        pass(100'000);
    }
    const std::string update = R"({"cmd":"updateparam","name":"udp_enabled","value":"1"})";
    EXPECT_EQ(box.commands(), (Texts{update, update, update}));
    pass(second_us);
    EXPECT_EQ(box.commands(), Texts{report_request});
    for (int i = 0; i < 10; ++i) // pages that are loaded together
        ask(id, R"({"command":{"cmd":"configrequest"}})");
    EXPECT_EQ(box.commands(), Texts{report_request});
    pass(second_us);
    EXPECT_EQ(box.commands(), Texts{report_request});
    EXPECT_EQ(told(id), Texts{});
}

TEST_F(PanelHub, commands_do_not_go_round_the_holds) {
    const auto ids = come(2);
    const std::string needs_hold = "Not sent: such a motion needs a hold.";
    for (const char* members :
         {R"("cmd":"position","param":"moverel","value1":500)",
          R"("cmd":"position","PARAM":"moverel")", R"("cmd":"zoom","param":-2,"value1":1)",
          R"("cmd":"zoom","param":"-3","value1":"1")"})
        ask(ids[0], std::string(R"({"command":{)") + members + "}}");
    EXPECT_EQ(told(ids[0]), Texts(4, needs_hold));
    EXPECT_EQ(box.commands(), Texts{});
    ask(ids[0], turn_request);
    const std::string level = R"({"cmd":"zoom","value1":"50"})";
    const std::string recentre = R"({"cmd":"orientation","param":"unlock"})";
    for (const std::string& json : {level, recentre}) // nobody holds the zoom
        ask(ids[1], R"({"command":)" + json + "}");
    for (int i = 0; i < 3; ++i) // told once
        ask(ids[1], turn_request);
    EXPECT_EQ(told(ids[1]), Texts(2, "Someone else is moving the gimbal."));
    EXPECT_NE(messages(ids[0], '3').back().find("\"gimbalHolder\":" + std::to_string(ids[0]) + ","),
              std::string::npos);
    ask(ids[0], R"({"command":)" + recentre + "}");
    EXPECT_EQ(box.commands(), (Texts{gentle_turn, level, recentre}));
    remove_browser(hub, ids[0], now);
    EXPECT_EQ(box.commands(), Texts{stop});
}

TEST_F(PanelHub, another_box_begins_with_nothing_and_the_one_before_is_stopped) {
    const auto ids = come(1);
    HeardBox other;
    hub.link.found.push_back({other.address(), now});
    from_box(0, std::string("\1\x57\0\x51\x0f\x2e\xfb", 7));
    ask(ids[0], turn_request);
    ask(ids[0], R"({"box":"127.0.0.1:1"})");
    EXPECT_EQ(told(ids[0]), Texts{"No such box was found."});
    ask(ids[0], R"({"box":")" + other.name() + "\"}");
    EXPECT_EQ(box.commands(), (Texts{gentle_turn, stop, stop, stop}));
    EXPECT_FALSE(box.registered);
    other.commands();
    EXPECT_TRUE(other.registered);
    const Texts said = messages(ids[0]);
    ASSERT_FALSE(said.empty());
    EXPECT_NE(said.back().find(R"({"box":")" + other.name() + R"(","heard":false,)"),
              std::string::npos);
    EXPECT_EQ(messages(add_browser(hub, now), '0'), Texts{});
    other.commands();
    other.send(0, std::string("\x0b\0\x14\2\0\0\0", 7));
    pass(second_us);
    take_from_box(hub, now);
    pass(second_us);
    EXPECT_EQ(other.commands(), Texts{report_request}); // it is heard now
}

TEST_F(PanelHub, each_browser_is_told_the_state_at_once_and_every_second) {
    const auto ids = come(2);
    const auto state = [this](BrowserId id) {
        const Texts states = messages(id, '3');
        return states.size() == 1 ? states[0] : std::to_string(states.size()) + " states";
    };
    pass(3 * second_us);
    ask(ids[1], R"({"watch":true})");
    const std::string begin =
        R"(3{"box":")" + box.name() + R"(","heard":true,"version":"0.20.2","boxes":[],"you":)";
    const std::string rest = R"(,"gimbalHolder":0,"zoomHolder":0,"viewers":1,"videoDatagrams":0,)"
                             R"("videoBytes":0,"lost":0,"damagedPictures":0,"timeUs":)" +
                             std::to_string(now) + "}";
    for (const BrowserId id : ids) // of the many, the newest
        EXPECT_EQ(state(id), begin + std::to_string(id) + rest);
    pass(second_us - 1);
    EXPECT_EQ(state(ids[0]), "0 states");
    pass(1);
    EXPECT_EQ(state(ids[0]).substr(0, 3), "3{\"");
    pass(10 * second_us); // a box that is not heard any more
    EXPECT_NE(state(ids[1]).find(R"("heard":false)"), std::string::npos);
    EXPECT_EQ(hub.link.counts.strange, 0U);
}

TEST_F(PanelHub, wrong_requests_are_answered) {
    const auto ids = come(1);
    ask(ids[0], "{}");
    ask(ids[0], R"({"command":{"cmd":"u","value":")" + std::string(longest_command, 'n') + "\"}}");
    ask(ids[0] + 7, turn_request);
    EXPECT_EQ(told(ids[0]), (Texts{"The panel did not understand the page: load it anew.",
                                   "Too long for the box: 277 of 255 characters."}));
    EXPECT_EQ(box.commands(), Texts{});
    hub.link.box.sin_port = 0;
    ask(ids[0], R"({"command":{"cmd":"reboot"}})");
    EXPECT_EQ(told(ids[0]), Texts{"Not sent: there is no box."});
}

TEST_F(PanelHub, one_that_reads_nothing_costs_the_others_nothing) {
    const auto ids = come(2);
    for (const BrowserId id : ids)
        ask(id, R"({"watch":true,"sound":true})");
    std::size_t pictures = 0;
    const std::string large(30'000, 'x');
    for (int i = 0; i < 200; ++i) {
        from_box(1, (i % 50 == 0 ? key_picture : next_picture) + large);
        from_box(0, R"({"cmd":"wlanscan","value":")" + std::string(5000, 'n') + "\"}");
        pictures += messages(ids[1], '1').size();
        const Outbox& outbox = hub.browsers[ids[0]].outbox;
        ASSERT_LE(outbox.media_bytes + outbox.status_bytes, outbox_bytes);
    }
    EXPECT_EQ(pictures, 199U); // the last one has not ended
    EXPECT_EQ(away, std::set{ids[0]});
    std::size_t more = 0;
    while (add_browser(hub, now) != 0)
        ASSERT_LE(++more, most_browsers);
    EXPECT_EQ(hub.browsers.size(), most_browsers);
}

} // namespace
