// What pages may ask for, and that nothing else passes.
#include "panel/box_link.h"
#include "panel/requests.h"

#include <gtest/gtest.h>
#include <string>

using namespace panel;

namespace {

// As text, to compare with; "none" for what is refused.
std::string shown(std::string_view text) {
    const auto request = parse_request(text);
    if (!request)
        return "none";
    if (const auto* watch = std::get_if<Watch>(&*request))
        return "watch " + std::to_string(watch->pictures) + std::to_string(watch->sound);
    if (const auto* command = std::get_if<Command>(&*request))
        return command->word + " " + command->json;
    if (const auto* held = std::get_if<HoldRequest>(&*request))
        return "hold " + std::to_string(static_cast<int>(held->what)) + " " +
               std::to_string(held->motion.a) + " " + std::to_string(held->motion.b);
    if (const auto* released = std::get_if<ReleaseRequest>(&*request))
        return "release " + std::to_string(static_cast<int>(released->what));
    return "box " + std::get<Choose>(*request).box;
}

TEST(PanelRequests, each_kind_is_read) {
    EXPECT_EQ(shown(R"({"watch":true,"sound":false})"), "watch 10");
    EXPECT_EQ(shown(R"( { "sound" : true , "watch" : false } )"), "watch 01");
    EXPECT_EQ(shown(R"({"watch":true})"), "watch 10");
    EXPECT_EQ(shown(R"({"hold":"gimbal","a":-300,"b":12.9})"), "hold 0 -300 12");
    EXPECT_EQ(shown(R"({"hold":"gimbal","a":-1e999,"b":4e18})"), "hold 0 -1000 1000");
    EXPECT_EQ(shown(R"({"hold":"zoom","a":1})"), "hold 1 1 0");
    EXPECT_EQ(shown(R"({"release":"zoom"})"), "release 1");
    EXPECT_EQ(shown(R"({"box":"192.0.2.5:4242"})"), "box 192.0.2.5:4242");
}

TEST(PanelRequests, a_command_is_written_anew_from_texts) {
    EXPECT_EQ(shown("{ \"command\" : {\"cmd\":\"record\", \"param\":\"start\"}}"),
              R"(record {"cmd":"record","param":"start"})");
    EXPECT_EQ(shown(R"({"command":{"cmd":"zoom","value1":-40,"value":999999999999999,"x":0.5}})"),
              R"(zoom {"cmd":"zoom","value1":"-40","value":"999999999999999","x":"0.5"})");
    // A text cannot end early and begin another member, and control characters stay escaped.
    EXPECT_EQ(shown(R"({"command":{"cmd":"u","value":"a\",\"cmd\":\"reboot\n\u0001\u00e9\\"}})"),
              "u {\"cmd\":\"u\",\"value\":\"a\\\",\\\"cmd\\\":\\\"reboot\\n\\u0001\u00e9\\\\\"}");
    const std::string longest(longest_command, 'n');
    EXPECT_EQ(shown(R"({"command":{"cmd":"u","value":")" + longest + R"("}})"),
              R"(u {"cmd":"u","value":")" + longest + R"("})"); // whoever sends it refuses
}

TEST(PanelRequests, nothing_else_passes) {
    std::string deep = R"({"command":{"cmd":)", many = R"({"command":{"cmd":"u")";
    for (int i = 0; i < 1300; ++i)
        deep += "[[[";
    for (int i = 0; i < 30; ++i)
        many += ",\"" + std::to_string(i) + R"(":"")";
    const std::string too_long =
        R"({"command":{"cmd":"u","value":")" + std::string(longest_request, 'n') + R"("}})";
    for (const std::string& text :
         std::initializer_list<std::string>{"",
                                            "{",
                                            "{}",
                                            "[]",
                                            "{\"watch\":true}x",
                                            R"({"watch":1})",
                                            R"({"watch":true,"sound":"yes"})",
                                            R"({"watch":true,"more":1})",
                                            R"({"watch":true,"watch":true})",
                                            R"({"Watch":true})",
                                            R"({"watch":true,"release":"zoom"})",
                                            R"({"hold":"pan","a":1})",
                                            R"({"hold":"zoom","a":"1"})",
                                            R"({"hold":"gimbal","a":NaN})",
                                            R"({"hold":1})",
                                            R"({"release":"Gimbal"})",
                                            R"({"release":"zoom","a":1})",
                                            R"({"box":""})",
                                            R"({"box":7})",
                                            R"({"box":")" + std::string(65, '1') + R"("})",
                                            R"({"command":"record"})",
                                            R"({"command":{"param":"start"}})",
                                            R"({"command":{"cmd":""}})",
                                            R"({"command":{"cmd":5}})",
                                            R"({"command":{"cmd":"a","CMD":"b"}})",
                                            R"({"command":{"cmd":"a","value":true}})",
                                            R"({"command":{"cmd":"a","value":["b"]}})",
                                            R"({"command":{"cmd":"a","value":1e40}})",
                                            R"({"command":{"cmd":"a","value":"b\u0000c"}})",
                                            std::string("{\"watch\":true}\0", 15),
                                            deep,
                                            many + "}}",
                                            too_long})
        EXPECT_EQ(shown(text), "none") << text.substr(0, 100);
}

} // namespace
