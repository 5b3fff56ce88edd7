// The steps of the exposure settings and their codes on the wire.
#pragma once

#include "core/word_table.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace fieldrelaybox {

// Exposure compensation, ascending; matched exactly.
inline constexpr std::array<double, 19> ev_values{-3.0, -2.7, -2.3, -2.0, -1.7, -1.3, -1.0,
                                                  -0.7, -0.3, 0.0,  0.3,  0.7,  1.0,  1.3,
                                                  1.7,  2.0,  2.3,  2.7,  3.0};
inline constexpr std::uint8_t lowest_ev_code = 0x07; // of -3.0; one more per value

struct IsoStep {
    std::string_view word; // as the app says it
    int iso;
    std::uint8_t code;
};

// Automatic first; its code stands for every unknown ISO as well.
inline constexpr std::array<IsoStep, 8> iso_steps{{
    {"auto", 0, 0},
    {"100", 100, 3},
    {"200", 200, 4},
    {"400", 400, 5},
    {"800", 800, 6},
    {"1600", 1600, 7},
    {"3200", 3200, 8},
    {"6400", 6400, 9},
}};

// Shutter speeds from the longest: "30s" is 30 seconds, "30" is 1/30 second.
inline constexpr std::array<std::string_view, 57> shutter_texts{
    "30s",  "25s",  "20s",  "15s",  "10s",  "9s",   "8s",   "7s",   "6s",  "5s",  "4s",  "3.2s",
    "3s",   "2.5s", "2s",   "1.6s", "1.3s", "1s",   "1.25", "1.67", "2",   "2.5", "3",   "4",
    "5",    "6.25", "8",    "10",   "12.5", "15",   "20",   "25",   "30",  "40",  "50",  "60",
    "80",   "100",  "120",  "160",  "200",  "240",  "320",  "400",  "500", "640", "800", "1000",
    "1250", "1600", "2000", "2500", "3200", "4000", "5000", "6400", "8000"};

// f-numbers that an RC knob goes through.
inline constexpr std::array<float, 8> aperture_steps{1.7F, 2.0F, 2.8F,  4.0F,
                                                     5.6F, 8.0F, 11.0F, 16.0F};

// Exposure modes, as the app says them.
inline constexpr std::array<WordCode, 4> image_modes{{
    {"auto", 1},
    {"shutter", 2},
    {"aperture", 3},
    {"manual", 4},
}};

using ShutterPayload = std::array<std::uint8_t, 4>;

// 0x01, integer part in 15 bits, bit 15 set for a fraction of a second, digits behind the point.
constexpr ShutterPayload encode_shutter(std::string_view text) {
    const bool seconds = text.ends_with('s');
    if (seconds)
        text.remove_suffix(1);
    const std::size_t point = text.find('.');
    const auto number = [](std::string_view digits) {
        unsigned value = 0;
        for (const char digit : digits)
            value = value * 10 + static_cast<unsigned>(digit - '0');
        return value;
    };
    const unsigned whole = number(text.substr(0, point)) | (seconds ? 0U : 0x8000U);
    const unsigned decimals = point == std::string_view::npos ? 0 : number(text.substr(point + 1));
    return {0x01, static_cast<std::uint8_t>(whole & 0xFF), static_cast<std::uint8_t>(whole >> 8),
            static_cast<std::uint8_t>(decimals)};
}

static_assert(encode_shutter("8000") == ShutterPayload{0x01, 0x40, 0x9F, 0x00});
static_assert(encode_shutter("1000") == ShutterPayload{0x01, 0xE8, 0x83, 0x00});
static_assert(encode_shutter("30") == ShutterPayload{0x01, 0x1E, 0x80, 0x00});
static_assert(encode_shutter("30s") == ShutterPayload{0x01, 0x1E, 0x00, 0x00});
static_assert(encode_shutter("1.67")[3] == 67 && encode_shutter("3.2s")[3] == 2);

} // namespace fieldrelaybox
