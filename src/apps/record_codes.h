// The status records that the apps get: a code, then what is named here. u8, u16, i16 and u32 are
// little-endian. docs/app-protocol.md tells more of each.
#pragma once

#include <cstdint>

namespace fieldrelaybox {

enum class RecordCode : std::uint8_t {
    // three i16: gimbal attitude a, b, c in degrees x 100
    scaled_attitude = 0,
    // u16 percent, u16 mV, i16 mA
    battery = 1,
    // u8 work mode, u32 flags, u32 card size, u32 card free, u32 photos left, u32 recording time
    // left, u16 recording time
    camera_state = 2,
    // u8 mode, u8 file type, u8 files on the page, u16 files in all, 0
    playback = 3,
    // 30 bytes: make_record of shooting_parameters_frame.cpp
    shooting_parameters = 4,
    // u8 MonitoredLink, u8 LinkState, four zeros
    link_state = 5,
    // u8 box flags, u8 app clients, u8 output flags, u8 focus assistant, u8 RC receiver state, 0
    box_state = 6,
    // 64 u8 brightness values
    histogram = 7,
    // i16 gimbal status, two i16 zeros
    gimbal_status = 8,
    // u8 quality, u8 best quality, u8 signal, u16 MHz, network name (19 characters at most), zeros
    wifi_link = 9,
    // three i16: gimbal attitude a, b, c as the gimbal counts
    raw_attitude = 10,
    // u8 major, u8 minor, u8 patch, three zeros
    version = 11,
    // u16 focus range, u16 focus position, u16 object distance in cm
    focus_position = 12,
    // u16 x, u16 y, both x 10000, u16 0
    focus_point = 13,
    // never sent
    unused = 14,
    // u8 receiver state, u8 number of channels (32), a u16 a channel in us
    rc_channels = 15,
    // u8 each: focus mode, autofocus unlimited, manual focus capable, assistant bits, focus status,
    // support type
    lens = 16,
};

constexpr std::uint8_t code_of(RecordCode code) {
    return static_cast<std::uint8_t>(code);
}

} // namespace fieldrelaybox
