// What pads and joysticks say as channels, and what a pilot is shown of them.
#include "config/channel_functions.h"
#include "rcin/pad_input.h"
#include "rcin/pad_layouts.h"
#include "rcin/show_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <libevdev/libevdev.h>
#include <linux/input-event-codes.h>
#include <memory>
#include <string>
#include <vector>

using namespace rcin;

namespace {

struct TestPad {
    std::unique_ptr<libevdev, void (*)(libevdev*)> device{libevdev_new(), libevdev_free};

    TestPad& axis(unsigned code, int low, int high, int flat = 0) {
        const input_absinfo info{
            .value = 0, .minimum = low, .maximum = high, .fuzz = 0, .flat = flat, .resolution = 0};
        libevdev_enable_event_code(device.get(), EV_ABS, code, &info);
        return *this;
    }
    TestPad& buttons(const std::vector<unsigned>& codes) {
        for (const unsigned code : codes)
            libevdev_enable_event_code(device.get(), EV_KEY, code, nullptr);
        return *this;
    }
    void move(unsigned code, int value) {
        libevdev_set_event_value(device.get(), EV_ABS, code, value);
    }
    void press(unsigned code, bool pressed = true) {
        libevdev_set_event_value(device.get(), EV_KEY, code, pressed ? 1 : 0);
    }
    int channel(std::size_t number) const {
        return pad_frame(layout_of(*device), *device).channels_us[number - 1];
    }
};

struct RcinPad : testing::Test {
    TestPad pad;

    void SetUp() override {
        for (const unsigned code : {ABS_X, ABS_Y, ABS_RX, ABS_RY})
            pad.axis(code, -32768, 32767, 128);
        pad.axis(ABS_Z, 0, 255).axis(ABS_RZ, 0, 1023);
        pad.axis(ABS_HAT0X, -1, 1).axis(ABS_HAT0Y, -1, 1);
        pad.buttons({BTN_SOUTH, BTN_EAST, BTN_NORTH, BTN_WEST, BTN_TL, BTN_TR, BTN_SELECT});
    }
};

TEST_F(RcinPad, every_control_moves_its_channel_and_no_other) {
    struct Move {
        std::size_t channel;
        unsigned axis;
        int low, high; // what gives 1000 and 2000
    };
    for (const Move& move :
         {Move{1, ABS_RX, -32768, 32767}, Move{2, ABS_RY, 32767, -32768},
          Move{3, ABS_Y, 32767, -32768}, Move{4, ABS_X, -32768, 32767}, Move{5, ABS_Z, 0, 255},
          Move{6, ABS_RZ, 0, 1023}, Move{7, ABS_HAT0X, -1, 1}, Move{8, ABS_HAT0Y, 1, -1}}) {
        const int rest = move.channel == 5 || move.channel == 6 ? 1000 : 1500;
        EXPECT_EQ(pad.channel(move.channel), rest) << move.channel;
        const Frame before = pad_frame(layout_of(*pad.device), *pad.device);
        for (const auto& [value, us] : {std::pair{move.low, 1000}, std::pair{move.high, 2000}}) {
            pad.move(move.axis, value);
            Frame wanted = before;
            wanted.channels_us[move.channel - 1] = static_cast<std::uint16_t>(us);
            EXPECT_EQ(pad_frame(layout_of(*pad.device), *pad.device).channels_us,
                      wanted.channels_us);
        }
        pad.move(move.axis, 0);
    }
    EXPECT_EQ(pad.channel(9), 1000);
    pad.press(BTN_SOUTH);
    EXPECT_EQ(pad.channel(9), 2000);
    EXPECT_EQ(pad.channel(16), absent); // it has no start button
}

TEST_F(RcinPad, the_dead_band_is_quiet_and_the_way_out_of_it_has_no_step) {
    pad.axis(ABS_RX, -32768, 32767, 4000);
    int before = 1000;
    for (int value = -32768; value <= 32767; ++value) {
        pad.move(ABS_RX, value);
        const int us = pad.channel(1);
        ASSERT_TRUE(us == before || us == before + 1) << value;
        ASSERT_TRUE(us == 1500 || value < -4000 || value > 3999) << value;
        before = us;
    }
    EXPECT_EQ(before, 2000);
}

TEST(RcinPadLayouts, pads_without_axes_for_it_use_their_buttons) {
    TestPad pad;
    pad.axis(ABS_X, 0, 255, 15).axis(ABS_Y, 0, 255, 15).axis(ABS_RX, 7, 7);
    pad.buttons({BTN_SOUTH, BTN_TL2, BTN_DPAD_UP, BTN_DPAD_DOWN});
    EXPECT_FALSE(has_reported(*pad.device)); // as plugged in: the left upper corner, it would seem
    pad.move(ABS_X, 128);
    EXPECT_TRUE(has_reported(*pad.device));
    EXPECT_EQ(pad.channel(4), 1500);
    EXPECT_EQ(pad.channel(1), absent); // an axis without a way
    EXPECT_EQ(pad.channel(5), 1000);
    EXPECT_EQ(pad.channel(8), 1500);
    pad.press(BTN_TL2);
    pad.press(BTN_DPAD_DOWN);
    EXPECT_EQ(pad.channel(5), 2000);
    EXPECT_EQ(pad.channel(8), 1000);
    pad.press(BTN_DPAD_UP);
    EXPECT_EQ(pad.channel(8), 1500);
}

// Where the first channel comes from tells the layout.
TEST(RcinPadLayouts, are_found_by_the_product_or_by_the_axes) {
    struct Device {
        int vendor, product;
        std::vector<unsigned> axes, buttons;
        unsigned first_axis;
    };
    const std::vector<Device> devices{
        {0, 0, {ABS_RX, ABS_Z, ABS_RZ}, {BTN_SOUTH}, ABS_RX},
        {0, 0, {ABS_Z, ABS_RZ, ABS_GAS, ABS_BRAKE}, {BTN_SOUTH}, ABS_Z},
        {0, 0, {ABS_Z, ABS_RZ}, {BTN_TRIGGER}, ABS_Z},
        {0, 0, {ABS_RZ, ABS_THROTTLE}, {BTN_TRIGGER}, ABS_X},
        {0x045E, 0x0B13, {ABS_RX, ABS_Z, ABS_RZ}, {BTN_SOUTH}, ABS_Z},
        {0x1209, 0x4F54, {ABS_Z, ABS_RZ}, {BTN_TRIGGER}, ABS_X},
    };
    for (const Device& device : devices) {
        TestPad pad;
        libevdev_set_id_vendor(pad.device.get(), device.vendor);
        libevdev_set_id_product(pad.device.get(), device.product);
        for (const unsigned axis : {ABS_X, ABS_Y})
            pad.axis(axis, -100, 100);
        EXPECT_FALSE(is_pad(*pad.buttons({BTN_LEFT, KEY_A}).device)); // so far a mouse
        for (const unsigned axis : device.axes)
            pad.axis(axis, -100, 100);
        EXPECT_TRUE(is_pad(*pad.buttons(device.buttons).device));
        pad.move(device.first_axis, 100);
        EXPECT_EQ(pad.channel(1), 2000) << &device - devices.data();
    }
}

TEST(RcinPadLayouts, what_is_no_pad_is_told) {
    for (const char* device : {"/dev/null", "/no/such/device"}) {
        const Opened opened = open_pad(device);
        EXPECT_FALSE(opened.input);
        EXPECT_NE(opened.fault.find(device), std::string::npos);
    }
}

TEST(RcinShow, tells_which_channel_moves_and_what_it_does) {
    StatusBlock block{};
    std::fill(std::begin(block.channel_function), std::end(block.channel_function), 255);
    block.channel_function[1] =
        static_cast<std::uint8_t>(fieldrelaybox::ChannelFunction::focus_tilt);
    Watched watched;
    watch(watched, block, 1);
    EXPECT_NE(screen_text(watched, block, 1).find("no RC input process"), std::string::npos);
    block.rc_receiver_state = 6;
    block.rc_channels[0] = block.rc_channels[1] = 1500;
    EXPECT_NE(screen_text(watched, block, 1).find("state 6, but no sign of life"),
              std::string::npos);
    block.rc_heartbeat = 9;
    watch(watched, block, 2);
    block.rc_channels[0] = 1515; // trembles
    block.rc_channels[1] = 1990;
    watch(watched, block, 3);
    const std::string text = screen_text(watched, block, 4);
    EXPECT_EQ(text, "state 6: good\n\n"
                    " 1  1515  ----------#----------\n"
                    " 2  1990  ----------+---------#  focus-tilt             <- moved\n");
    EXPECT_EQ(screen_text(watched, block, 2'000'000).find("moved"), std::string::npos);
    EXPECT_EQ(line_text(watched, block, 4), "state 6: good; 1=1515 2(focus-tilt)=1990\n");
    EXPECT_EQ(line_text(watched, block, 500'001).find("state 6: good"), 0U);
    EXPECT_EQ(line_text(watched, block, 500'002).find("state 6, but no sign of life"), 0U);
    EXPECT_EQ(fitting_text(text, 5, 80), text);
    EXPECT_EQ(fitting_text(text, 4, 80), "state 6: good\n\n2 more: make the window higher\n");
    EXPECT_EQ(fitting_text(text, 6, 60), text) << "the last line takes two rows";
    EXPECT_NE(fitting_text(text, 5, 60), text);
    block.rc_heartbeat = 1;
    block.rc_receiver_state = 0;
    block.rc_channels[0] = 40000; // what no receiver says
    watch(watched, block, 5);
    EXPECT_NE(screen_text(watched, block, 6).find("state 0: RC input is off"), std::string::npos);
    EXPECT_NE(screen_text(watched, block, 6).find("40000  ----------+---------#"),
              std::string::npos);
}

} // namespace
