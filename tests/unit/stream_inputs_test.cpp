// What streams that come into the box, or are made anew there, run.
#include "stream/kinds.h"
#include "test_data.h"

#include <gtest/gtest.h>

using namespace stream;

namespace {

std::string text_of(const Plan& plan) {
    std::string text = plan.fault;
    for (const std::string& word : plan.command.value_or(Command{}).arguments)
        text += word + ' ';
    return text;
}

struct StreamInputs : testing::Test {
    std::string file = testing::TempDir() + "stream_inputs";
    ConfigRecord settings{};
    Surroundings box{.folder = "",
                     .source_config = file,
                     .has_element = [](std::string_view) { return true; },
                     .sound_cards = file};

    void write(const std::string& text) const { std::ofstream(file) << text; }
    ~StreamInputs() override { std::filesystem::remove(file); }
};

TEST_F(StreamInputs, the_first_sound_card_on_usb_is_heard) {
    settings.audio_enabled = 1;
    box.source_config = "";
    write(" 0 [Headphones     ]: bcm2835_headpho - bcm2835 Headphones\n"
          "                      USB-Audio at 3f980000\n"
          "12 [Device         ]: USB-Audio - USB PnP Sound Device\n"
          " 2 [Other          ]: USB-Audio - Another\n");
    EXPECT_NE(text_of(plan_sound(settings, box)).find("device=plughw:12 "), std::string::npos);
}

TEST_F(StreamInputs, the_processors_own_codecs_are_taken_where_there_are_both) {
    settings.video_transcode_enabled = 1;
    settings.video_width = settings.video_height = 360;
    settings.video_bitrate = 1'000'000;
    const std::string own = text_of(plan_transcode(settings, box));
    EXPECT_NE(own.find(" ! v4l2h264dec ! "), std::string::npos);
    EXPECT_NE(own.find(" ! keyframes interval=1000 ! v4l2h264enc "), std::string::npos);
    box.has_element = [](std::string_view name) { return name == "v4l2h264dec"; };
    EXPECT_EQ(text_of(plan_transcode(settings, box)).find("v4l2"), std::string::npos);
}

TEST_F(StreamInputs, an_address_stays_one_value_whatever_it_holds) {
    write("url=rtsp://box/a\" ! filesink location=\"/etc/passwd\n");
    EXPECT_NE(text_of(plan_source(settings, box))
                  .find(R"(uri="rtsp://box/a\" ! filesink location=\"/etc/passwd" )"),
              std::string::npos);
}

} // namespace
